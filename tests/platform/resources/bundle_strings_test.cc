#include "platform/resources/bundle_strings.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

using namespace std::string_literals;

TEST(BundleStringsTest, AnswersFromTheChosenLanguageOrANamedOne) {
  const test::TemporaryFolder folder;
  folder.write("secret.strings", "k = outside;");
  folder.write("res/de.lproj/T.strings", "k = deutsch; same = same;");
  folder.write("res/fr.lproj/T.strings", "k = fran;");
  folder.write("res/de.lproj/Localizable.strings", "k = standard;");
  folder.write("res/plain.strings", "k = root;");
  struct Row {
    const char* table;
    const char* key;
    const char* value;
    const char* text;
  };
  const Row rows[] = {
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
  };
  const BundleStrings strings(folder.path("res"), "de");
  // The folder of the chosen language need not exist for another one to be found from it.
  const BundleStrings nowhere(folder.path("res"), "xx");
  for (const Row& row : rows) {
    EXPECT_EQ(strings.localizedStringForKey(row.key, row.value, row.table), row.text) << row.table;
  }
  EXPECT_EQ(nowhere.localizedStringForKey("k", "", "../fr.lproj/T"), "fran");
  EXPECT_EQ(strings.localizedStringForKey("k", "d", "T\0"s), "d") << "a NUL names no file";
  std::filesystem::remove_all(folder.path("res"));
  EXPECT_EQ(strings.localizedStringForKey("k", "", "T"), "deutsch") << "parsed once";
}

TEST(BundleStringsTest, ChoosesTheLanguageByTheEnvironment) {
  struct Row {
    std::map<std::string, std::string> environment;
    std::vector<std::string> languages;
    std::optional<std::string> folder;
  };
  const test::TemporaryFolder folder;
  for (const char* name : {"en", "de", "pt-BR", "zh-Hans"})
    std::filesystem::create_directory(folder.path(name + ".lproj"s));
  const Row rows[] = {
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
  for (const Row& row : rows) {
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
      const auto value = row.environment.find(name);
      value == row.environment.end() ? ::unsetenv(name) : ::setenv(name, value->second.c_str(), 1);
    }
    EXPECT_EQ(preferredLanguages(), row.languages);
    EXPECT_EQ(bestLocalization(folder.path(), preferredLanguages()), row.folder)
        << testing::PrintToString(row.languages);
  }
}

TEST(BundleStringsTest, PrefersTheNearestLanguage) {
  const test::TemporaryFolder folder;
  for (const char* name : {"pt", "pt-BR", "zh-Hans", "zh-Hant"})
    std::filesystem::create_directory(folder.path(name + ".lproj"s));
  for (const auto& [language, nearest] : {std::pair{"pt_PT", "pt"},
                                          {"pt_BR", "pt-BR"},
                                          {"zh_TW", "zh-Hant"},
                                          {"zh_Hant_HK", "zh-Hant"},
                                          {"pt_Latn_PT", "pt"},
                                          {"zh_SG", "zh-Hans"}}) {
    EXPECT_EQ(bestLocalization(folder.path(), std::vector<std::string>{language}), nearest) << language;
  }
}

}  // namespace
}  // namespace quelto::platform
