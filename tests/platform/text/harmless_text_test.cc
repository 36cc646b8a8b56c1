#include "platform/text/harmless_text.h"

#include <gtest/gtest.h>

namespace quelto::platform {
namespace {

TEST(HarmlessText, OfOneLineHasNoControlCharacters) {
  EXPECT_EQ(singleLineText("a\n\tb\x1b\x7f\u009B\u2028 \u00E9\u202E\xFF\xC3"), "ab \u00E9\u202E\xFF\xC3");
}

}  // namespace
}  // namespace quelto::platform
