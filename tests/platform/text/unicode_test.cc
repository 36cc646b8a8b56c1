#include "platform/text/unicode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quelto::platform {
namespace {

using testing::ElementsAre;

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

}  // namespace
}  // namespace quelto::platform
