#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "platform/files/path_status.h"
#include "platform/files/private_folder.h"
#include "platform/files/read_file.h"
#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

namespace fs = std::filesystem;

template <typename Value>
std::string resultOf(const FileResult<Value>& result) {
  constexpr const char* errors[] = {"absent", "refused", "tooLarge", "failed"};
  return result ? "done" : errors[static_cast<std::size_t>(result.error())];
}

/// A private folder with a file "name" that holds "content", below a folder that is removed at the end.
struct Surroundings {
  Surroundings() { (void)PrivateFolder::openOrMake(path)->publish("name", "content"); }
  test::TemporaryFolder above;
  std::string path = above.path("one/two");
};

TEST(PrivateFolder, IsOursAloneAndSoAreItsFiles) {
  const struct {
    const char* name;
    const char* command;
    const char* opened;
    const char* made = "done";
    const char* file = "done";
    const char* content = file;
  } rows[] = {
      {"as it was made", ":", "done"},
      {"missing", "rm -r ../two", "absent"},
      {"missing with the one above", "rm -r ../../one", "absent"},
      {"for the group", "chmod 710 .", "refused", "refused"},
      {"for all", "chmod 704 .", "refused", "refused"},
      {"not ours to write", "chmod 500 .", "refused", "refused"},
      {"a link", "mv ../two ../2 && ln -s 2 ../two", "refused", "refused"},
      {"a file", "rm -r ../two && : >../two", "refused", "refused"},
      {"a link above", "cd ../.. && mv one 1 && ln -s 1 one", "done"},
      {"below a file", "cd ../.. && rm -r one && : >one", "refused", "refused"},
      {"a file that is missing", "rm name", "done", "done", "absent"},
      {"one for the group", "chmod 640 name", "done", "done", "refused"},
      {"one that is a link", "mv name n && ln -s n name", "done", "done", "refused"},
      {"one that is a FIFO", "rm name && mkfifo -m 600 name", "done", "done", "refused"},
      {"one that is a folder", "rm name && mkdir -m 700 name", "done", "done", "refused"},
      {"one that is longer", "echo >>name", "done", "done", "done", "tooLarge"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Surroundings around;
    ASSERT_EQ(std::system(("cd " + around.path + " && " + row.command).c_str()), 0);
    const auto folder = PrivateFolder::open(around.path);
    EXPECT_EQ(resultOf(folder), row.opened);
    EXPECT_EQ(resultOf(PrivateFolder::open(around.path + "//")), row.opened) << "with slashes";
    EXPECT_EQ(resultOf(PrivateFolder::openOrMake(around.path)), row.made);
    ::chmod(around.path.c_str(), 0700);
    if (!folder) continue;
    EXPECT_EQ(resultOf(folder->file("name")), row.file);
    EXPECT_EQ(resultOf(folder->read("name", 7)), row.content);
  }
  EXPECT_EQ(resultOf(PrivateFolder::openOrMake(std::string("/tmp\0/x", 7))), "refused");
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  return names;
}

TEST(PrivateFolder, PublishesOneFileWholeForItsOwnerOnly) {
  const mode_t mask = ::umask(0777);
  const test::TemporaryFolder above;
  fs::permissions(above.path(), fs::perms::owner_all);
  const auto folder = PrivateFolder::openOrMake(above.path("kept"));
  ASSERT_TRUE(folder);
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 8; ++thread) {
      threads.emplace_back([&folder, thread] {
        EXPECT_TRUE(folder->publish("name", std::string(5000, static_cast<char>('a' + thread))));
      });
    }
  }
  ::umask(mask);
  const auto content = folder->read("name", 5000);
  ASSERT_TRUE(content);
  EXPECT_EQ(content->view(), std::string(5000, content->view().front()));
  EXPECT_EQ(namesIn(above.path("kept")), std::vector<std::string>{"name"});
}

constexpr std::size_t limit = 100;

TEST(TrustedFile, IsRefusedWhenSomebodyElseCouldHaveWrittenIt) {
  const test::TemporaryFolder folder;
  const std::string path = folder.write("list", "content");
  const struct {
    const char* name;
    mode_t mode;
    uid_t owner;
    bool isRead;
  } rows[] = {
      {"private", 0600, ::geteuid(), true},    {"group-writable", 0660, ::geteuid(), true},
      {"readable by all", 0644, 0, true},      {"writable by all", 0606, ::geteuid(), false},
      {"of another user", 0600, 65534, false},
  };
  for (const auto& row : rows) {
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
