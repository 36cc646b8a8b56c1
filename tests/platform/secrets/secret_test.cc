#include "platform/secrets/secret.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/support/process_surroundings.h"

namespace quelto::platform {
namespace {

using test::isInMemory;

TEST(Secret, LeavesNothingInMemory) {
  std::string inverse;
  for (int byte = 1; byte < 256; ++byte) inverse += static_cast<char>(byte * 37);
  // The allocator writes over the beginning of what is freed.
  const std::string_view middle = std::string_view(inverse).substr(64, 64);
  const std::string_view end = std::string_view(inverse).substr(128, 64);
  {
    Secret secret = test::secretFrom(inverse);
    Secret other = secret.copy();
    other = std::move(secret);
    EXPECT_TRUE(isInMemory(end));
    other.shrink(128);
    EXPECT_FALSE(isInMemory(end)) << "what was cut off";
    EXPECT_TRUE(isInMemory(middle));
  }
  EXPECT_FALSE(isInMemory(middle));
}

}  // namespace
}  // namespace quelto::platform
