#include "platform/files/replace_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/files/read_file.h"
#include "tests/support/process_surroundings.h"
#include "tests/support/processes.h"

namespace quelto::platform {
namespace {

constexpr std::size_t limit = 1 << 20;

/// All regular files below the folder, each as "path:mode=content ".
std::string filesIn(const std::string& folder) {
  return test::shell("find " + folder + R"( -type f -printf %P:%m= -exec cat {} \; -printf ' ')").text;
}

TEST(ReplaceFile, ReplacesWhatIsOursAndNothingElse) {
  constexpr auto replaced = Links::replaced;
  const struct {
    const char* name;
    /// Run in a folder where "file" holds "old".
    const char* command;
    std::string files;
    Links links = Links::ownFollowed;
    const char* path = "file";
  } rows[] = {
      {"as it was made", ":", "file:600=new "},
      {"missing", "rm file", "file:600=new "},
      {"for others too", "chmod 646 file", "file:600=new "},
      {"not for us to write", "chmod 440 file", "file:400=new "},
      {"a link, replaced", "rm file; ln -s real file; chown -h 65533 file", "file:600=new ", replaced},
      {"somebody's file, replaced", "chown 65533 file; chmod 644 file", "file:600=new ", replaced},
      {"a pipe, replaced", "rm file; mkfifo file", "file:600=new ", replaced},
      {"our link", "mkdir d; mv file d/real; ln -s d/real file", "d/real:600=new "},
      {"our absolute link", "mkdir d; mv file d/real; ln -s $PWD/d/real file", "d/real:600=new "},
      {"links in folders", "mkdir d; mv file d/a; ln -s a d/b; ln -s ../d/b d/c; ln -s d/c file",
       "d/a:600=new "},
      {"our link to nothing", "rm file; mkdir d; ln -s d/real file", "d/real:600=new "},
      {"our link to no folder", "rm file; ln -s d/real file", ""},
      {"a link to itself", "rm file; ln -s file file", ""},
      {"eight links", "mv file 0; ln -s 7 file; for n in 1 2 3 4 5 6 7; do ln -s $((n-1)) $n; done",
       "0:600=new "},
      {"nine links", "mv file 0; ln -s 8 file; for n in 1 2 3 4 5 6 7 8; do ln -s $((n-1)) $n; done",
       "0:600=old "},
      {"our link to a folder", "mkdir d; mv file d/real; ln -s d/ file", "d/real:600=old "},
      {"somebody's link", "mv file real; ln -s real file; chown -h 65533 file", "real:600=old "},
      {"somebody's file", "chown 65533 file", "file:600=old "},
      {"our link, somebody's file", "mv file real; ln -s real file; chown 65533 real", "real:600=old "},
      {"a folder", "rm file; mkdir file", ""},
      {"a FIFO", "rm file; mkfifo -m 600 file", ""},
      {"a slash at the end", ":", "file:600=old ", replaced, "file/"},
      {"a folder above", "mkdir d", "file:600=old ", replaced, "d/.."},
      {"no such folder", ":", "file:600=old ", replaced, "d/file"},
      {"below a file", ":", "file:600=old ", replaced, "file/file"},
  };
  for (const auto& row : rows) {
    if (::geteuid() != 0 && std::string_view(row.command).find("chown") != std::string_view::npos) continue;
    const test::TemporaryFolder folder;
    const std::string command = "cd " + folder.path() + "; umask 077; printf old >file; " + row.command;
    ASSERT_EQ(std::system(command.c_str()), 0) << row.name;
    const mode_t mask = ::umask(0777);
    const bool isReplaced = replaceFile(folder.path(row.path), "new", row.links);
    ::umask(mask);
    EXPECT_EQ(isReplaced, row.files.ends_with("new ")) << row.name;
    EXPECT_EQ(filesIn(folder.path()), row.files) << row.name;
  }
  EXPECT_FALSE(replaceFile("", "new", Links::ownFollowed));
  EXPECT_FALSE(replaceFile(std::string("/tmp/x\0y", 8), "new", Links::ownFollowed));
}

TEST(ReplaceFile, LeavesTheOldFileWhereTheNewDoesNotFit) {
  const test::TemporaryFolder folder;
  const std::string path = folder.write("file", "old");
  for (rlim_t size = 0; size <= 40; ++size) {
    const auto replaceWithin = [&path](rlim_t room) {
      const test::FileSizeLimit limited(room);
      return replaceFile(path, std::string(40, 'n'), Links::ownFollowed);
    };
    EXPECT_EQ(replaceWithin(size), size == 40) << size;
    EXPECT_EQ(filesIn(folder.path()),
              size == 40 ? "file:600=" + std::string(40, 'n') + " " : "file:644=old ");
  }
}

TEST(ReplaceFile, RemovesWhatKilledProcessesLeft) {
  const test::TemporaryFolder folder;
  const std::string old =
      "file.new-0123456789ABCDEF file.new-0123456789abcde file.new-0123456789abcdeg "
      "other.new-0123456789abcdef ";
  const std::string command =
      "cd " + folder.path() + " && touch -d '50 minutes ago' file.new-fedcba9876543210 && " +
      "touch -d '2 hours ago' file.new-0123456789abcdef " + old + "&& ln -s other file.new-1111111111111111" +
      "&& touch -hd '2 hours ago' file.new-1111111111111111";
  ASSERT_EQ(std::system(command.c_str()), 0);
  ASSERT_TRUE(replaceFile(folder.path("file"), "new", Links::ownFollowed));
  EXPECT_EQ(test::shell("ls " + folder.path() + " | LC_ALL=C sort | tr '\\n' ' '").text,
            "file file.new-0123456789ABCDEF file.new-0123456789abcde file.new-0123456789abcdeg "
            "file.new-1111111111111111 file.new-fedcba9876543210 other.new-0123456789abcdef ");
}

TEST(ReplaceFile, IsWholeForReadersAtAnyTime) {
  const test::TemporaryFolder folder;
  const std::string path = folder.path("file");
  ASSERT_TRUE(replaceFile(path, std::string(5000, 'x'), Links::ownFollowed));
  std::atomic<int> writing = 4;
  std::vector<std::jthread> writers;
  for (char letter = 'a'; letter < 'e'; ++letter) {
    writers.emplace_back([&, letter] {
      for (int count = 0; count < 20; ++count) {
        EXPECT_TRUE(replaceFile(path, std::string(5000, letter), Links::ownFollowed));
      }
      --writing;
    });
  }
  while (writing > 0) {
    const std::string content = readFile(path, limit).value_or("");
    ASSERT_EQ(content.size(), 5000U);
    EXPECT_EQ(content, std::string(5000, content.front()));
  }
}

}  // namespace
}  // namespace quelto::platform
