#include "items/item_records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "items/item_texts.h"

namespace quelto::items {
namespace {

using keychain::SecConstant;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Pair;

TEST(FourCharCodes, PackInOppositeOrders) {
  const struct {
    const char* text;
    std::uint32_t protocol;
    std::uint32_t authentication;
  } rows[] = {{"ssh ", 0x73736820, 0x20687373},
              {"dflt", 0x64666C74, 0x746C6664},
              {"\x01\x7F a", 0x017F2061, 0x61207F01}};
  for (const auto& [text, protocol, authentication] : rows) {
    EXPECT_EQ(createSecProtocolType(text), SecProtocolType{protocol}) << text;
    EXPECT_EQ(createSecAuthenticationType(text), SecAuthenticationType{authentication}) << text;
    EXPECT_EQ(fourCharString(SecProtocolType{protocol}), text);
    EXPECT_EQ(fourCharString(SecAuthenticationType{authentication}), text);
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

TEST(FourCharCodes, EveryByteIsOneCharacter) {
  using namespace std::string_literals;
  EXPECT_EQ(fourCharString(SecProtocolType{0}), "\0\0\0\0"s);
  EXPECT_EQ(fourCharString(SecAuthenticationType{0}), "\0\0\0\0"s);
  EXPECT_EQ(fourCharString(SecProtocolType{0x7F80FF41}), "\x7F\u0080\u00FFA");
  EXPECT_EQ(fourCharString(SecAuthenticationType{0x7F80FF41}), "A\u00FF\u0080\x7F");
}

/// A match dictionary as names and readable values, in its order.
std::vector<std::pair<std::string, std::string>> readable(const SecPasswordStruct& record) {
  std::vector<std::pair<std::string, std::string>> entries;
  for (const auto& [key, value] : buildMatchDicton(record)) {
    if (const auto* text = std::get_if<std::string>(&value)) entries.emplace_back(key, *text);
    if (const auto* number = std::get_if<std::int64_t>(&value))
      entries.emplace_back(key, std::to_string(*number) + "#");
    if (const auto* constant = std::get_if<SecConstant>(&value)) entries.emplace_back(key, constant->name);
  }
  return entries;
}

const GeneralPassword fullPassword{"acc", "svc", "gen", "lab", "desc", "com"};
const InternetPassword fullInternet{
    "acc", "srv",  22,   SecProtocolType{0x73736820}, "/p", SecAuthenticationType{0x746C6664}, "dom",
    "lab", "desc", "com"};
const SecureNote fullNote{"acc", "nam", "gen", "lab", "com"};

TEST(MatchDictionaries, HoldWhatIsPresentInOrder) {
  EXPECT_THAT(
      readable(fullInternet),
      ElementsAre(Pair("class", "inet"), Pair("account", "acc"), Pair("server", "srv"), Pair("port", "22#"),
                  Pair("protocol", "ssh "), Pair("path", "/p"), Pair("label", "lab"), Pair("comment", "com"),
                  Pair("description", "desc"), Pair("domain", "dom"), Pair("authtype", "dflt")));
  EXPECT_THAT(
      readable(InternetPassword{.port = 0, .scheme = SecProtocolType{0}, .auth = SecAuthenticationType{0}}),
      ElementsAre(Pair("class", "inet"), Pair("port", "0#")));
  EXPECT_THAT(readable(fullNote),
              ElementsAre(Pair("class", "genp"), Pair("service", "nam"), Pair("account", "acc"),
                          Pair("label", "lab"), Pair("comment", "com"), Pair("type", "1852798053#"),
                          Pair("description", "secure note"), Pair("generic", "gen")));
  EXPECT_THAT(readable(SecureNote{}), ElementsAre(Pair("class", "genp"), Pair("type", "1852798053#"),
                                                  Pair("description", "secure note")));
  EXPECT_THAT(readable(fullPassword),
              ElementsAre(Pair("class", "genp"), Pair("account", "acc"), Pair("service", "svc"),
                          Pair("generic", "gen"), Pair("label", "lab"), Pair("description", "desc"),
                          Pair("comment", "com")));
  EXPECT_THAT(readable(GeneralPassword{.account = ""}),
              ElementsAre(Pair("class", "genp"), Pair("account", "")));
}

TEST(Entries, HoldEveryKeyInOrder) {
  EXPECT_THAT(entryOf(fullPassword),
              ElementsAre(Pair("class", "general"), Pair("account", "acc"), Pair("service", "svc"),
                          Pair("generic", "gen"), Pair("label", "lab"), Pair("description", "desc"),
                          Pair("comment", "com")));
  EXPECT_THAT(entryOf(fullInternet),
              ElementsAre(Pair("class", "internet"), Pair("account", "acc"), Pair("domain", "dom"),
                          Pair("server", "srv"), Pair("path", "/p"), Pair("port", "22"),
                          Pair("scheme", "ssh "), Pair("auth", "dflt"), Pair("label", "lab"),
                          Pair("description", "desc"), Pair("comment", "com")));
  EXPECT_THAT(
      entryOf(SecureNote{.name = "nam"}),
      ElementsAre(Pair("class", "securenote"), Pair("account", ""), Pair("name", "nam"), Pair("generic", ""),
                  Pair("label", ""), Pair("description", "secure note"), Pair("comment", "")));
}

TEST(Entries, HaveAPortAndCodesEvenWhereTheRecordHasNone) {
  const std::string noCode(4, '\0');
  EXPECT_THAT(entryOf(InternetPassword{.server = "srv"}),
              testing::IsSupersetOf({std::pair<std::string_view, std::string>("port", "0"),
                                     {"scheme", noCode},
                                     {"auth", noCode},
                                     {"domain", ""}}));
}

TEST(ItemTexts, NameTheProgram) {
  EXPECT_EQ(keychainPrefix(), "Quelto Suite");
  EXPECT_EQ(appTitle(), "Quelto Suite");
  EXPECT_EQ(&keychainPrefix(), &keychainPrefix()) << "made once";
}

}  // namespace
}  // namespace quelto::items
