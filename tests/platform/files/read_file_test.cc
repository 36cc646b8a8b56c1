#include "platform/files/read_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/files/path_status.h"
#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

constexpr std::size_t limit = 100;

TEST(TrustedFile, IsRefusedWhenSomebodyElseCouldHaveWrittenIt) {
  const test::TemporaryFolder folder;
  const std::string path = folder.write("list", "content");
  struct Row {
    const char* name;
    mode_t mode;
    uid_t owner;
    bool isRead;
  };
  const Row rows[] = {
      {"private", 0600, ::geteuid(), true},    {"group-writable", 0660, ::geteuid(), true},
      {"readable by all", 0644, 0, true},      {"writable by all", 0606, ::geteuid(), false},
      {"of another user", 0600, 65534, false},
  };
  for (const Row& row : rows) {
    if (::geteuid() != 0 && row.owner != ::geteuid()) continue;  // only root can give a file away
    ASSERT_EQ(::chown(path.c_str(), row.owner, static_cast<gid_t>(-1)), 0);
    ASSERT_EQ(::chmod(path.c_str(), row.mode), 0);
    const auto content = readTrustedFile(path, limit);
    EXPECT_EQ(static_cast<bool>(content), row.isRead) << row.name;
    EXPECT_TRUE(row.isRead || content.error() == FileError::refused) << row.name;
    EXPECT_EQ(readFile(path, limit), "content") << row.name;
  }
}

TEST(File, IsReadWholeOrNotAtAll) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
  EXPECT_EQ(readFile(folder.write("full", std::string(limit, 'x')), limit), std::string(limit, 'x'));
  EXPECT_EQ(readFile(folder.write("empty", ""), limit), "");
  EXPECT_EQ(readFile("/proc/self/comm", limit), "platform_test\n") << "a file that does not know its size";
  const std::pair<std::string, FileError> unreadable[] = {
      {folder.path("missing"), FileError::absent},
      {"", FileError::absent},
      {{"/tmp\0", 5}, FileError::refused},
      {"/proc/self/comm/x", FileError::refused},
      {folder.path(), FileError::refused},
      {folder.path("fifo"), FileError::refused},
      {"/dev/zero", FileError::refused},
      {folder.write("long", std::string(limit + 1, 'x')), FileError::tooLarge},
      {"/proc/self/status", FileError::tooLarge},
      {"/proc/self/mem", FileError::failed},
  };
  for (const auto& [path, error] : unreadable) {
    EXPECT_EQ(readFile(path, limit), std::nullopt) << path;
    EXPECT_EQ(readTrustedFile(path, limit).error(), error) << path;
  }
}

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

TEST(PathStatus, FindsTheFolderAbove) {
  const char* const rows[][2] = {{"/a/b", "/a"}, {"/a", "/"}, {"/", "/"},
                                 {"a/b", "a"},   {"a", "."},  {"", "."}};
  for (const auto& [path, folder] : rows) EXPECT_EQ(parentFolder(path), folder) << path;
}

}  // namespace
}  // namespace quelto::platform
