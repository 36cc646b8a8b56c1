#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <vector>

#include "platform/bundle/bundle.h"
#include "platform/resources/bundle_strings.h"
#include "platform/resources/info_dictionary.h"
#include "platform/resources/strings_table.h"
#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

using Entries = std::map<std::string, std::string>;
using Names = std::vector<std::string>;
using namespace std::string_literals;

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

Entries parse(std::string_view content) {
  const StringsTable table = parseStringsTable(content);
  return {table.begin(), table.end()};
}

TEST(StringsTableTest, ReadsWhatTheFormatAllowsUntilItBreaks) {
  const std::pair<std::string, Entries> rows[] = {
      {"", {}},
      {"/* a */\"k\" /* b */ = // c\n \"v\" ; bare.word=x-1;", {{"k", "v"}, {"bare.word", "x-1"}}},
      {"\"itself\";'single' = '\"';", {{"itself", "itself"}, {"single", "\""}}},
      {"\"k\"=\"1\";\"k\"=\"2\";\"\"=\"empty\";", {{"k", "2"}, {"", "empty"}}},
      {R"("k"="\"\\\n\t\a\101\u00e9\Z\'";)", {{"k", "\"\\\n\t\aA\u00E9Z'"}}},
      {R"("k"="\UD83D\UDE00\UD83Dx\UDE00\U12g\Ug\0";)", {{"k", "\U0001F600\uFFFDx\uFFFD\u0012gUg"s + '\0'}}},
      {"\"k\"=\"one \\\n    two\\\r\n\";", {{"k", "one \\\n    two\\\r\n"}}},
      {"\xEF\xBB\xBF\"\u00FC\" = \"\u65E5\u672C\";", {{"\u00FC", "\u65E5\u672C"}}},
      {"\xFF\xFEk\0=\0\xE9\0;\0"s + "junk", {}},
      {"\xFF\xFE\"\0k\0\"\0=\0\"\0\xE9\0\"\0;\0"s, {{"k", "\u00E9"}}},
      {"\xFE\xFF\0k\0=\0v\0;\0"s, {{"k", "v"}}},
  };
  for (const auto& [content, entries] : rows)
    EXPECT_EQ(parse(content), entries) << testing::PrintToString(content);
  for (const char* broken : {"\"b\" = \"v\"", "\"b\" \"v\";", "\"b\" = \"v", "\"b\" = \"v\\", "/* no end",
                             "= \"v\";", "b = {", "\"b\" = \"\xFF\";", "\"b\" = ;", ";"})
    EXPECT_EQ(parse("a = \"1\"; "s + broken + " c = \"3\""), (Entries{{"a", "1"}})) << broken;
}

TEST(InfoDictionary, HasTextsOfAListThatCanBeRead) {
  const test::TemporaryFolder folder;
  folder.write("app/Contents/Resources/helper", "");
  folder.write("bin/helper", "");
  for (const auto& [list, tool, helper] :
       {std::tuple{"app/Contents/Info.plist", "app/Contents/MacOS/deep/tool",
                   "app/Contents/Resources/helper"},
        {"bin/Info.plist", "bin/tool", "bin/helper"}}) {
    folder.write(
        list,
        "<plist version=\"1.0\"><dict><key>CFBundleName</key><string>K\u00F6nig</string>"
        "<key>CFBundleIdentifier</key><string>a.b.c</string><key>N</key><integer>1</integer></dict></plist>");
    const Bundle bundle(folder.path(tool));
    EXPECT_EQ(infoText(bundle, "CFBundleName"), "K\u00F6nig") << tool;
    EXPECT_EQ(bundleIdentifier(bundle), "a.b.c") << tool;
    EXPECT_EQ(bundle.pathForResource("helper"), folder.path(helper));
    for (const char* noText : {"N", "missing"}) EXPECT_EQ(infoText(bundle, noText), std::nullopt);
  }
  EXPECT_EQ(bundleIdentifier(Bundle("")), std::nullopt);
  EXPECT_EQ(Bundle("").pathForResource("etc"), std::nullopt) << "of an unknown executable";
  for (const char* wrong : {"", "garbage", "<plist><array/></plist>", "<plist><dict><key>CFBundleName</key>",
                            "bplist00\xD1\x01\x02\xFF\xFF\xFF"}) {
    folder.write("bin/Info.plist", wrong);
    EXPECT_EQ(infoText(Bundle(folder.path("bin/tool")), "CFBundleName"), std::nullopt) << wrong;
  }
}

}  // namespace
}  // namespace quelto::platform
