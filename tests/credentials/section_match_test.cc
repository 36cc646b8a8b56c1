#include "credentials/section_match.h"

#include <gtest/gtest.h>

namespace quelto::credentials {
namespace {

using items::GeneralPassword;
using items::InternetPassword;
using items::SecureNote;

constexpr auto ssh = items::SecProtocolType{0x73736820};
constexpr auto dflt = items::SecAuthenticationType{0x746C6664};

ini::IniSection sectionOf(const ini::IniSection& whole,
                          std::initializer_list<ini::IniSection::Entry> changes) {
  ini::IniSection section = whole;
  for (const auto& [key, value] : changes) section[key] = value;
  return section;
}

TEST(SectionMatch, ComparesWhatTheRecordHas) {
  const GeneralPassword general{.account = "a", .service = "s", .generic = "g"};
  const SecureNote note{.account = "a", .name = "n", .generic = "g"};
  const InternetPassword internet{
      .account = "a", .server = "h", .port = 22, .scheme = ssh, .path = "p", .auth = dflt, .domain = "d"};
  const struct {
    const char* name;
    items::SecPasswordStruct record;
    items::SecPasswordStruct stored;
    std::initializer_list<ini::IniSection::Entry> changes;
    bool matches;
  } rows[] = {
      {"a general password", general, general, {}, true},
      {"an internet password", internet, internet, {}, true},
      {"a note", note, note, {}, true},
      {"without fields", SecureNote{}, note, {}, true},
      {"of another kind", SecureNote{}, general, {}, false},
      {"of no kind", SecureNote{}, note, {{"class", ""}}, false},
      {"a kind in capitals", SecureNote{}, note, {{"class", "SecureNote"}}, false},
      {"another account", note, note, {{"account", "A"}}, false},
      {"composed otherwise", SecureNote{.account = "\u00E9"}, note, {{"account", "e\u0301"}}, true},
      {"another service", general, general, {{"service", "a"}}, false},
      {"another name", note, note, {{"name", "a"}}, false},
      {"another generic of a general password", general, general, {{"generic", "a"}}, false},
      {"another generic of a note", note, note, {{"generic", "a"}}, false},
      {"another domain", internet, internet, {{"domain", "a"}}, false},
      {"another server", internet, internet, {{"server", "a"}}, false},
      {"another path", internet, internet, {{"path", "a"}}, false},
      {"an empty text", SecureNote{.name = ""}, note, {}, false},
      {"an empty text without the key",
       GeneralPassword{.account = ""},
       SecureNote{},
       {{"class", "general"}},
       true},
      {"another label and comment", SecureNote{.label = "l", .comment = "c"}, note, {}, true},
      {"another port", internet, internet, {{"port", "2222"}}, false},
      {"a port with a sign", internet, internet, {{"port", "+22"}}, true},
      {"no port", internet, internet, {{"port", ""}}, false},
      {"a port too large by 65536", internet, internet, {{"port", "65558"}}, false},
      {"a port with a blank", internet, internet, {{"port", "22 "}}, false},
      {"any port", InternetPassword{.port = 0}, internet, {}, true},
      {"a scheme of three characters", internet, internet, {{"scheme", "ssh"}}, false},
      {"any scheme",
       InternetPassword{.scheme = items::SecProtocolType{}},
       internet,
       {{"scheme", "ssh"}},
       true},
      {"an auth in the other order", internet, internet, {{"auth", "tlfd"}}, false},
      {"an auth beyond ASCII", internet, internet, {{"auth", "dfl\u00E9"}}, false},
      {"any auth", InternetPassword{.auth = items::SecAuthenticationType{}}, internet, {{"auth", ""}}, true},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(matches(sectionOf(entryOf(row.stored), row.changes), row.record), row.matches) << row.name;
  }
  EXPECT_FALSE(matches({}, InternetPassword{.port = 22})) << "nothing matches a section without a kind";
}

}  // namespace
}  // namespace quelto::credentials
