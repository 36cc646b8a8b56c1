#include "platform/files/path_status.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

TEST(File, IsTheSameByInodeNotByName) {
  const test::TemporaryFolder folder;
  const std::string one = folder.write("one", "");
  std::filesystem::create_hard_link(one, folder.path("hard"));
  std::filesystem::create_symlink(one, folder.path("soft"));
  EXPECT_TRUE(isSameFile(one, folder.path("hard")));
  EXPECT_TRUE(isSameFile(one, folder.path("soft")));
  EXPECT_FALSE(isSameFile(one, folder.write("other", "")));
  EXPECT_FALSE(isSameFile(folder.path("missing"), folder.path("missing")));
}

}  // namespace
}  // namespace quelto::platform
