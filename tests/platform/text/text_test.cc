#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/text/harmless_text.h"
#include "platform/text/unicode.h"
#include "platform/text/utf8.h"

namespace quelto::platform {
namespace {

using testing::ElementsAre;
using namespace std::string_literals;

TEST(Unicode, CountsGraphemeClusters) {
  EXPECT_THAT(characterBoundaries(""), ElementsAre(0));
  EXPECT_THAT(characterBoundaries("a\r\n\n"), ElementsAre(0, 1, 3, 4));
  EXPECT_THAT(characterBoundaries("\u00E9\r\n\n"), ElementsAre(0, 2, 4, 5));
  EXPECT_THAT(characterBoundaries("\U0001F1E9\U0001F1EA\U0001F1EB"), ElementsAre(0, 8, 12)) << "flags";
  EXPECT_THAT(characterBoundaries("\u1100\u1161\u11A8x"), ElementsAre(0, 9, 10)) << "Hangul jamo join";
  EXPECT_THAT(characterBoundaries("a\xFF\u00E9"), ElementsAre(0, 1, 2, 4));
}

TEST(Unicode, EqualityIsCanonical) {
  const auto isEqual = [](std::string_view one, std::string_view other) {
    EXPECT_EQ(canonicalForm(one) == canonicalForm(other), isCanonicallyEqual(one, other))
        << one << " " << other;
    return isCanonicallyEqual(one, other);
  };
  EXPECT_TRUE(isEqual("\u00E9", "e\u0301"));
  EXPECT_TRUE(isEqual("\u212A", "K")) << "one side may be ASCII";
  EXPECT_TRUE(isEqual("a\u0323\u0307", "a\u0307\u0323")) << "the order of marks does not count";
  EXPECT_FALSE(isEqual("\uFB01", "fi")) << "compatibility is not enough";
  EXPECT_FALSE(isEqual("\xFF", "\xFE"));
  EXPECT_FALSE(isEqual("\xFF", "\uFFFD"));
  EXPECT_FALSE(isEqual("\xFF\u212A", "\xFFK"));
  EXPECT_TRUE(isEqual("\xFF", "\xFF"));
}

TEST(Unicode, LowerCaseIsFullAndKeepsWrongBytes) {
  EXPECT_EQ(lowercased("ABC-xyz[@`{"), "abc-xyz[@`{");
  EXPECT_EQ(lowercased("\u00C4\u0130I"), "\u00E4i\u0307i");
  EXPECT_EQ(lowercased("\xFF\u00C4\xC3"), "\xFF\u00E4\xC3");
}

TEST(Utf8, CutsIllFormedPartsAsTheStandardDoes) {
  const struct {
    std::string text;
    std::size_t length;
    bool wellFormed = false;
  } rows[] = {{"a", 1, true},  {"\u00E9", 2, true},  {"\U0010FFFF", 4, true}, {"\x80", 1},
              {"\xC0\x80", 1}, {"\xE2\x80", 2},      {"\xE2\x80z", 2},        {"\xED\xA0\x80", 1},
              {"\xC3", 1},     {"\xF0\x9F\x98z", 3}, {"\xF4\x90\x80\x80", 1}};
  for (const auto& [text, length, wellFormed] : rows) {
    const Scalar scalar = scalarAt(text, 0);
    EXPECT_EQ(scalar.length, length) << testing::PrintToString(text);
    EXPECT_EQ(scalar.wellFormed, wellFormed) << testing::PrintToString(text);
    EXPECT_EQ(isValidUtf8("padding to eight bytes: " + text), wellFormed);
  }
}

TEST(Utf8, IsCutBetweenScalars) {
  for (const auto& [text, size, beginning] : {std::tuple{"ab\u00E9", 4U, "ab\u00E9"},
                                              {"ab\u00E9", 3U, "ab"},
                                              {"a\u20ACb", 4U, "a\u20AC"},
                                              {"a\u20AC", 2U, "a"},
                                              {"a\U0001F600", 4U, "a"},
                                              {"\u00E9", 0U, ""}})
    EXPECT_EQ(beginningOf(text, size), beginning) << text;
  EXPECT_EQ(beginningOf("\x80\x80\x80\x80\x80\x80", 5), "\x80\x80\x80\x80\x80") << "no scalar";
}

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
