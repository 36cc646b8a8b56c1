#include "platform/resources/strings_table.h"

#include <gtest/gtest.h>

#include <map>

namespace quelto::platform {
namespace {

using namespace std::string_literals;
using Entries = std::map<std::string, std::string>;

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

}  // namespace
}  // namespace quelto::platform
