#include "platform/text/utf8.h"

#include <gtest/gtest.h>

namespace quelto::platform {
namespace {

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

}  // namespace
}  // namespace quelto::platform
