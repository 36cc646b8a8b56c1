#include "platform/text/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quelto::platform {
namespace {

using testing::ElementsAre;

TEST(Text, CutsIllFormedPartsAsTheStandardDoes) {
  struct Row {
    std::string_view text;
    std::size_t length;
    bool wellFormed;
  };
  const Row rows[] = {
      {"a", 1, true},
      {"\u00E9", 2, true},
      {"\U0010FFFF", 4, true},
      {"\x80", 1, false},
      {"\xC0\x80", 1, false},
      {"\xE2\x80", 2, false},
      {"\xE2\x80z", 2, false},
      {"\xED\xA0\x80", 1, false},
      {"\xF4\x90\x80\x80", 1, false},
      {"\xF0\x9F\x98z", 3, false},
      {"\xC3", 1, false},
  };
  for (const Row& row : rows) {
    const Scalar scalar = scalarAt(row.text, 0);
    EXPECT_EQ(scalar.length, row.length) << testing::PrintToString(row.text);
    EXPECT_EQ(scalar.wellFormed, row.wellFormed) << testing::PrintToString(row.text);
    EXPECT_EQ(isValidUtf8("padding to eight bytes: " + std::string(row.text)), row.wellFormed);
  }
}

TEST(Text, CountsGraphemeClusters) {
  EXPECT_THAT(characterBoundaries(""), ElementsAre(0));
  EXPECT_THAT(characterBoundaries("a\r\n\n"), ElementsAre(0, 1, 3, 4));
  EXPECT_THAT(characterBoundaries("\u00E9\r\n\n"), ElementsAre(0, 2, 4, 5));
  EXPECT_THAT(characterBoundaries("\U0001F1E9\U0001F1EA\U0001F1EB"), ElementsAre(0, 8, 12))
      << "a flag is two";
  EXPECT_THAT(characterBoundaries("\u1100\u1161\u11A8x"), ElementsAre(0, 9, 10)) << "Hangul jamo join";
  EXPECT_THAT(characterBoundaries("a\xFF\u00E9"), ElementsAre(0, 1, 2, 4));
}

TEST(Text, OfOneLineHasNoControlCharacters) {
  EXPECT_EQ(singleLineText("a\n\tb\x1b\x7f\u009B\u2028 \u00E9\u202E\xFF\xC3"), "ab \u00E9\u202E\xFF\xC3");
}

TEST(Text, IsCutBetweenScalars) {
  EXPECT_EQ(beginningOf("ab\u00E9", 4), "ab\u00E9");
  EXPECT_EQ(beginningOf("ab\u00E9", 3), "ab");
  EXPECT_EQ(beginningOf("a\u20ACb", 4), "a\u20AC");
  EXPECT_EQ(beginningOf("a\u20AC", 2), "a");
  EXPECT_EQ(beginningOf("a\U0001F600", 4), "a");
  EXPECT_EQ(beginningOf("\u00E9", 0), "");
  EXPECT_EQ(beginningOf("\x80\x80\x80\x80\x80\x80", 5), "\x80\x80\x80\x80\x80") << "no scalar";
}

TEST(Text, EqualityIsCanonical) {
  EXPECT_TRUE(isCanonicallyEqual("\u00E9", "e\u0301"));
  EXPECT_TRUE(isCanonicallyEqual("\u212A", "K")) << "one side may be ASCII";
  EXPECT_TRUE(isCanonicallyEqual("a\u0323\u0307", "a\u0307\u0323")) << "the order of marks does not count";
  EXPECT_FALSE(isCanonicallyEqual("\uFB01", "fi")) << "compatibility is not enough";
  EXPECT_FALSE(isCanonicallyEqual("\xFF", "\xFE"));
  EXPECT_FALSE(isCanonicallyEqual("\xFF", "\uFFFD"));
  EXPECT_TRUE(isCanonicallyEqual("\xFF", "\xFF"));
}

TEST(Text, LowerCaseIsFullAndKeepsWrongBytes) {
  EXPECT_EQ(lowercased("ABC-xyz[@`{"), "abc-xyz[@`{");
  EXPECT_EQ(lowercased("\u00C4\u0130I"), "\u00E4i\u0307i");
  EXPECT_EQ(lowercased("\xFF\u00C4\xC3"), "\xFF\u00E4\xC3");
}

}  // namespace
}  // namespace quelto::platform
