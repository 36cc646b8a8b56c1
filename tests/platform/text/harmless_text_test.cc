#include "platform/text/harmless_text.h"

#include <gtest/gtest.h>

namespace quelto::platform {
namespace {

using namespace std::string_literals;

TEST(HarmlessText, FitsThePlaceThatShowsIt) {
  struct Row {
    const char* name;
    std::string text;
    std::string displayable;
    std::string onTerminal;
    std::string linesOnTerminal;
    std::string joined;
    std::string inField;
  };
  const std::string breaks = "a\r\nb\n\rc\u2028d\u2029e\u0085f\v\fg";
  const std::string controls = "a\t\x1b\x7f\u009B";
  const std::string directions = "\u202E\u2066\u061C\u200F";
  const std::string wrong = "\xFF\xC3 \u00E9";
  const Row rows[] = {
      {"line breaks", breaks, breaks, "a??b??c?d?e?f??g", "a\nb\n\nc\nd\ne\nf\n\ng", "a b  c d e f  g",
       "abcdefg"},
      {"controls", controls, controls, "a????", "a????", controls, "a"},
      {"a NUL", "\0"s, "\uFFFD", "?", "?", "\0"s, ""},
      {"directions", directions, directions, "????", "????", directions, directions},
      {"ill-formed", wrong, "\uFFFD\uFFFD \u00E9", "\uFFFD\uFFFD \u00E9", "\uFFFD\uFFFD \u00E9", wrong,
       wrong},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(displayableText(row.text), row.displayable) << row.name;
    EXPECT_EQ(terminalText(row.text), row.onTerminal) << row.name;
    EXPECT_EQ(terminalLines(row.text), row.linesOnTerminal) << row.name;
    EXPECT_EQ(joinedLines(row.text), row.joined) << row.name;
    EXPECT_EQ(singleLineText(row.text), row.inField) << row.name;
  }
}

}  // namespace
}  // namespace quelto::platform
