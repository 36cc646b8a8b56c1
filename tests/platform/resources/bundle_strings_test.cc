#include "platform/resources/bundle_strings.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

using namespace std::string_literals;
using Names = std::vector<std::string>;

TEST(BundleStringsTest, AnswersFromTheChosenLanguageOrANamedOne) {
  const test::TemporaryFolder folder;
  folder.write("secret.strings", "k = outside;");
  folder.write("res/de.lproj/T.strings", "k = deutsch; same = same;");
  folder.write("res/fr.lproj/T.strings", "k = fran;");
  folder.write("res/de.lproj/Localizable.strings", "k = standard;");
  folder.write("res/plain.strings", "k = root;");
  const BundleStrings strings(folder.path("res"), "de");
  const struct {
    std::string table, key, value, text;
  } rows[] = {
      {"T", "k", "", "deutsch"},
      {"", "k", "", "standard"},
      {"T", "no", "default", "default"},
      {"T", "no", "", "no"},
      {"../fr.lproj/T", "k", "", "fran"},
      {"../plain", "k", "", "root"},
      {"../it.lproj/T", "k", "", "k"},
      {"../../secret", "k", "", "k"},
      {"../x/../../res/fr.lproj/T", "k", "", "fran"},
      {"/etc/passwd", "k", "d", "d"},
      {"../de.lproj", "k", "d", "d"},
      {"T\0"s, "k", "d", "d"},
  };
  for (const auto& [table, key, value, text] : rows)
    EXPECT_EQ(strings.localizedStringForKey(key, value, table), text) << table;
  // The folder of the chosen language need not exist for another one to be found from it.
  EXPECT_EQ(BundleStrings(folder.path("res"), "xx").localizedStringForKey("k", "", "../fr.lproj/T"), "fran");
  std::filesystem::remove_all(folder.path("res"));
  EXPECT_EQ(strings.localizedStringForKey("k", "", "T"), "deutsch") << "parsed once";
}

TEST(BundleStringsTest, ChoosesTheLanguageByTheEnvironment) {
  const test::TemporaryFolder folder;
  for (const char* name : {"en", "de", "pt-BR", "zh-Hans"})
    std::filesystem::create_directory(folder.path(name + ".lproj"s));
  const std::tuple<std::map<std::string, std::string>, Names, std::optional<std::string>> rows[] = {
      {{}, {"en"}, "en"},
      {{{"LANG", "de_AT.UTF-8@euro"}}, {"de_AT"}, "de"},
      {{{"LANG", "pt_BR.UTF-8"}, {"LC_ALL", ""}}, {"pt_BR"}, "pt-BR"},
      {{{"LANG", "de_DE"}, {"LC_MESSAGES", "nl_NL"}}, {"nl_NL"}, {}},
      {{{"LANGUAGE", "nl:zh_CN::de"}, {"LANG", "en_US.UTF-8"}}, {"nl", "zh_CN", "de", "en_US"}, "zh-Hans"},
      {{{"LANGUAGE", "de"}, {"LC_ALL", "C"}}, {"en"}, "en"},
      {{{"LANGUAGE", "de"}, {"LANG", "C.UTF-8"}}, {"de", "en"}, "de"},
      {{{"LANGUAGE", "../../etc:zh_TW"}}, {"", "zh_TW", "en"}, "en"},
      {{{"LANGUAGE", "zh_Hant:zh_Hant_HK"}}, {"zh_Hant", "zh_Hant_HK", "en"}, "en"},
      {{{"LANG", "zh_Hans_CN.UTF-8"}}, {"zh_Hans_CN"}, "zh-Hans"},
      {{{"LANG", "zh"}}, {"zh"}, "zh-Hans"},
      {{{"LANG", "pt_PT.UTF-8"}}, {"pt_PT"}, "pt-BR"},
  };
  for (const auto& [environment, languages, best] : rows) {
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) ::unsetenv(name);
    for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
    EXPECT_EQ(preferredLanguages(), languages);
    EXPECT_EQ(bestLocalization(folder.path(), languages), best) << testing::PrintToString(languages);
  }
  for (const char* name : {"pt", "zh-Hant"}) std::filesystem::create_directory(folder.path(name + ".lproj"s));
  for (const auto& [language, nearest] : {std::pair{"pt_PT", "pt"},
                                          {"pt_BR", "pt-BR"},
                                          {"zh_TW", "zh-Hant"},
                                          {"zh_Hant_HK", "zh-Hant"},
                                          {"pt_Latn_PT", "pt"},
                                          {"zh_SG", "zh-Hans"}})
    EXPECT_EQ(bestLocalization(folder.path(), Names{language}), nearest) << language;
}

}  // namespace
}  // namespace quelto::platform
