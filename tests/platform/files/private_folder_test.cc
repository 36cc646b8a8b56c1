#include "platform/files/private_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>
#include <vector>

#include "tests/support/process_surroundings.h"

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

TEST(PrivateFolder, IsOneThatIsOursAlone) {
  const struct {
    const char* name;
    const char* command;
    const char* opened;
    const char* made;
  } rows[] = {
      {"as it was made", ":", "done", "done"},
      {"missing", "rm -r ../two", "absent", "done"},
      {"missing with the one above", "rm -r ../../one", "absent", "done"},
      {"for the group", "chmod 710 .", "refused", "refused"},
      {"for all", "chmod 704 .", "refused", "refused"},
      {"not ours to write", "chmod 500 .", "refused", "refused"},
      {"a link", "mv ../two ../2 && ln -s 2 ../two", "refused", "refused"},
      {"a file", "rm -r ../two && : >../two", "refused", "refused"},
      {"a link above", "cd ../.. && mv one 1 && ln -s 1 one", "done", "done"},
      {"below a file", "cd ../.. && rm -r one && : >one", "refused", "refused"},
  };
  for (const auto& row : rows) {
    const Surroundings around;
    ASSERT_EQ(std::system(("cd " + around.path + " && " + row.command).c_str()), 0) << row.name;
    EXPECT_EQ(resultOf(PrivateFolder::open(around.path)), row.opened) << row.name;
    EXPECT_EQ(resultOf(PrivateFolder::open(around.path + "//")), row.opened) << row.name << ", with slashes";
    EXPECT_EQ(resultOf(PrivateFolder::openOrMake(around.path)), row.made) << row.name;
    ::chmod(around.path.c_str(), 0700);
  }
  EXPECT_EQ(resultOf(PrivateFolder::openOrMake(std::string("/tmp\0/x", 7))), "refused");
}

TEST(PrivateFolder, GivesFilesThatAreOursAlone) {
  const struct {
    const char* name;
    const char* command;
    const char* result;
  } rows[] = {
      {"as it was made", ":", "done"},
      {"missing", "rm name", "absent"},
      {"for the group", "chmod 640 name", "refused"},
      {"a link", "mv name n && ln -s n name", "refused"},
      {"a FIFO", "rm name && mkfifo -m 600 name", "refused"},
      {"a folder", "rm name && mkdir -m 700 name", "refused"},
      {"longer", "echo >>name", "tooLarge"},
  };
  for (const auto& row : rows) {
    const Surroundings around;
    ASSERT_EQ(std::system(("cd " + around.path + " && " + row.command).c_str()), 0) << row.name;
    const auto folder = PrivateFolder::open(around.path);
    ASSERT_TRUE(folder);
    const bool isLonger = std::string_view(row.result) == "tooLarge";
    EXPECT_EQ(resultOf(folder->file("name")), isLonger ? "done" : row.result) << row.name;
    EXPECT_EQ(resultOf(folder->read("name", 7)), row.result) << row.name;
  }
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

TEST(PrivateFolder, PublishesNothingThatDoesNotFit) {
  const Surroundings around;
  const auto folder = PrivateFolder::open(around.path);
  {
    const test::FileSizeLimit limit(100);
    EXPECT_FALSE(folder->publish("other", std::string(101, 'x')));
  }
  EXPECT_EQ(namesIn(around.path), std::vector<std::string>{"name"});
}

}  // namespace
}  // namespace quelto::platform
