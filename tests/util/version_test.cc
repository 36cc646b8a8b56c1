#include "util/version.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quelto::util {
namespace {

TEST(VersionTest, PassesOverWhatIsNoRevisionAndOnlyGrows) {
  Version::build = 0;
  const RevisionEntry registry[] = {{"build_b", "$Rev: 7 $"},        {"build_empty", "$Rev:  $"},
                                    {"build_word", "$Rev: none $"},  {"build_short", "$R$"},
                                    {"build_plus", "$Rev: +12 $"},   {"library_a", "$Rev: 7 $"},
                                    {"library_cut", "$Rev:"},        {"other", "$Rev: 9999 $"},
                                    {"library_minus", "$Rev: -3 $"}, {"library_tiny", "12345 $"}};
  const auto [build, lines] = Version(registry).calculate();
  EXPECT_EQ(build, 12);
  EXPECT_THAT(lines, testing::ElementsAre("Unt_a: 7", "Unt_b: 7", "Unt_minus: -3", "Unt_plus: 12"));
  Version::build = 8000;
  EXPECT_EQ(Version().calculate().first, 8000);
  Version::build = 0;
  EXPECT_EQ(Version().calculate(), Version().calculate());
  EXPECT_EQ(Version::build, 7086);
}

}  // namespace
}  // namespace quelto::util
