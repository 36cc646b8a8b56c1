#include "platform/files/private_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>
#include <vector>

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

}  // namespace
}  // namespace quelto::platform
