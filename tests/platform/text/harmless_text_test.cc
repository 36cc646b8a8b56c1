#include "platform/text/harmless_text.h"

#include <gtest/gtest.h>

namespace quelto::platform {
namespace {

using namespace std::string_literals;

TEST(HarmlessText, FitsThePlaceThatShowsIt) {
  const std::string breaks = "a\r\nb\n\rc\u2028d\u2029e\u0085f\v\fg";
  const std::string controls = "a\t\x1b\x7f\u009B";
  const std::string directions = "\u202E\u2066\u061C\u200F";
  const std::string wrong = "\xFF\xC3 \u00E9";
  const std::string replaced = "\uFFFD\uFFFD \u00E9";
  const struct {
    std::string text, displayable, onTerminal, linesOnTerminal, joined, inField;
  } rows[] = {
      {breaks, breaks, "a??b??c?d?e?f??g", "a\nb\n\nc\nd\ne\nf\n\ng", "a b  c d e f  g", "abcdefg"},
      {controls, controls, "a????", "a????", controls, "a"},
      {"\0"s, "\uFFFD", "?", "?", "\0"s, ""},
      {directions, directions, "????", "????", directions, directions},
      {wrong, replaced, replaced, replaced, wrong, wrong},
  };
  for (const auto& [text, displayable, onTerminal, linesOnTerminal, joined, inField] : rows) {
    EXPECT_EQ(displayableText(text), displayable);
    EXPECT_EQ(terminalText(text), onTerminal);
    EXPECT_EQ(terminalLines(text), linesOnTerminal);
    EXPECT_EQ(joinedLines(text), joined);
    EXPECT_EQ(singleLineText(text), inField);
  }
}

}  // namespace
}  // namespace quelto::platform
