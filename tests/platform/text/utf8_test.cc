#include "platform/text/utf8.h"

#include <gtest/gtest.h>

namespace quelto::platform {
namespace {

TEST(Utf8, CutsIllFormedPartsAsTheStandardDoes) {
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

TEST(Utf8, IsCutBetweenScalars) {
  EXPECT_EQ(beginningOf("ab\u00E9", 4), "ab\u00E9");
  EXPECT_EQ(beginningOf("ab\u00E9", 3), "ab");
  EXPECT_EQ(beginningOf("a\u20ACb", 4), "a\u20AC");
  EXPECT_EQ(beginningOf("a\u20AC", 2), "a");
  EXPECT_EQ(beginningOf("a\U0001F600", 4), "a");
  EXPECT_EQ(beginningOf("\u00E9", 0), "");
  EXPECT_EQ(beginningOf("\x80\x80\x80\x80\x80\x80", 5), "\x80\x80\x80\x80\x80") << "no scalar";
}

}  // namespace
}  // namespace quelto::platform
