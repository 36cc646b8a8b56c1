#include "items/item_records.h"

#include <gtest/gtest.h>

#include <sstream>

namespace quelto::items {
namespace {

using namespace std::string_literals;

TEST(FourCharCodes, PackInOppositeOrders) {
  const struct {
    std::string text;
    std::uint32_t protocol, authentication;
    bool isReadBack = true;
  } rows[] = {
      {"ssh ", 0x73736820, 0x20687373},
      {"dflt", 0x64666C74, 0x746C6664},
      {"\x01\x7F a", 0x017F2061, 0x61207F01},
      {"\0\0\0\0"s, 0, 0},
      {"\x7F\u0080\u00FFA", 0x7F80FF41, 0x41FF807F, false},
  };
  for (const auto& [text, protocol, authentication, isReadBack] : rows) {
    EXPECT_EQ(fourCharString(SecProtocolType{protocol}), text);
    EXPECT_EQ(fourCharString(SecAuthenticationType{authentication}), text);
    if (!isReadBack) continue;
    EXPECT_EQ(createSecProtocolType(text), SecProtocolType{protocol}) << text;
    EXPECT_EQ(createSecAuthenticationType(text), SecAuthenticationType{authentication}) << text;
  }
}

TEST(FourCharCodes, MalformedTextsAreAbsent) {
  const std::optional<std::string_view> rows[] = {std::nullopt, "",          "ssh",    "ssh  ",
                                                  "\u00E4bcd",  "\u00E4bc",  "\r\nab", "\r\nabc",
                                                  "ab\xFF\xFE", "e\u0301abc"};
  for (const auto& name : rows) {
    EXPECT_EQ(createSecProtocolType(name), std::nullopt) << name.value_or("absent");
    EXPECT_EQ(createSecAuthenticationType(name), std::nullopt) << name.value_or("absent");
  }
}

/// "name=value;" for each, a number marked with "#", in its order.
std::string textOf(const keychain::SecDictionary& match) {
  std::ostringstream all;
  for (const auto& [key, value] : match) {
    all << key << "=";
    if (const auto* text = std::get_if<std::string>(&value)) all << *text;
    if (const auto* number = std::get_if<std::int64_t>(&value)) all << *number << "#";
    if (const auto* constant = std::get_if<keychain::SecConstant>(&value)) all << constant->name;
    all << ";";
  }
  return all.str();
}

std::string textOf(const ini::IniSection& entry) {
  std::ostringstream all;
  for (const auto& [key, value] : entry) all << key << "=" << value << ";";
  return all.str();
}

TEST(ItemRecords, HoldWhatIsPresentForTheKeychainAndEveryKeyAsAnEntryInOrder) {
  const std::string noInternetEntry =
      "class=internet;account=;domain=;server=;path=;port=0;scheme=\0\0\0\0;auth=\0\0\0\0;label=;"
      "description=;comment=;"s;
  const struct {
    SecPasswordStruct record;
    std::string match, entry;
  } rows[] = {
      {GeneralPassword{"acc", "svc", "gen", "lab", "desc", "com"},
       "class=genp;account=acc;service=svc;generic=gen;label=lab;description=desc;comment=com;",
       "class=general;account=acc;service=svc;generic=gen;label=lab;description=desc;comment=com;"},
      {GeneralPassword{.account = ""}, "class=genp;account=;",
       "class=general;account=;service=;generic=;label=;description=;comment=;"},
      {InternetPassword{"acc", "srv", 22, SecProtocolType{0x73736820}, "/p",
                        SecAuthenticationType{0x746C6664}, "dom", "lab", "desc", "com"},
       "class=inet;account=acc;server=srv;port=22#;protocol=ssh ;path=/p;label=lab;comment=com;"
       "description=desc;domain=dom;authtype=dflt;",
       "class=internet;account=acc;domain=dom;server=srv;path=/p;port=22;scheme=ssh ;auth=dflt;label=lab;"
       "description=desc;comment=com;"},
      {InternetPassword{.port = 0, .scheme = SecProtocolType{0}, .auth = SecAuthenticationType{0}},
       "class=inet;port=0#;", noInternetEntry},
      {InternetPassword{}, "class=inet;", noInternetEntry},
      {SecureNote{"acc", "nam", "gen", "lab", "com"},
       "class=genp;service=nam;account=acc;label=lab;comment=com;type=1852798053#;"
       "description=secure note;generic=gen;",
       "class=securenote;account=acc;name=nam;generic=gen;label=lab;description=secure note;comment=com;"},
      {SecureNote{}, "class=genp;type=1852798053#;description=secure note;",
       "class=securenote;account=;name=;generic=;label=;description=secure note;comment=;"},
  };
  for (const auto& [record, match, entry] : rows) {
    EXPECT_EQ(textOf(buildMatchDicton(record)), match);
    EXPECT_EQ(textOf(entryOf(record)), entry);
  }
}

}  // namespace
}  // namespace quelto::items
