#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "platform/files/read_file.h"
#include "platform/files/replace_file.h"
#include "tests/support/process_surroundings.h"
#include "tests/support/processes.h"
#include "tests/support/temporary_folder.h"

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

/// A file of letters "o" that the driver, under strace, replaces by letters "n".
class Traced {
 public:
  Traced() { std::filesystem::permissions(folder_.write("file", before_), std::filesystem::perms(0600)); }

  /// The driver's exit status, or 128 and the number of the signal that killed it.
  [[nodiscard]] int run(const std::string& straceOptions) const {
    const std::string driver = " " REPLACE_FILE_DRIVER " " + folder_.path("file") + " n 9000";
    const std::string strace =
        "ASAN_OPTIONS=detect_leaks=0 timeout 20 strace -f -qq " + straceOptions + driver;
    return WEXITSTATUS(std::system(("{ " + strace + "; } 2>/dev/null; exit $?").c_str()));
  }

  /// "old", "new" or "torn".
  [[nodiscard]] std::string content() const {
    const auto content = readFile(folder_.path("file"), 1 << 20);
    return content == before_ ? "old" : content == std::string(9000, 'n') ? "new" : "torn";
  }

  /// How many files there are; all must be for their owner only.
  [[nodiscard]] int files() const {
    int count = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder_.path())) {
      const auto others = std::filesystem::perms::group_all | std::filesystem::perms::others_all;
      EXPECT_EQ(file.status().permissions() & others, std::filesystem::perms::none) << file.path();
      ++count;
    }
    return count;
  }

  [[nodiscard]] std::string folder() const { return folder_.path(); }

 private:
  const std::string before_ = std::string(9000, 'o');
  test::TemporaryFolder folder_;
};

class ReplaceFileFaults : public testing::Test {
  void SetUp() override {
    if (std::system("strace -qq -o /dev/null true 2>/dev/null") != 0)
      GTEST_SKIP() << "strace may not trace here";
  }
};

/// Each system call from the first that names the file's folder on, as strace counts it: the call's name and
/// how many of that name there have been.
std::vector<std::pair<std::string, int>> callsOf(const Traced& traced, const std::string& log) {
  EXPECT_EQ(traced.run("-o " + log), 0);
  std::vector<std::pair<std::string, int>> calls;
  std::map<std::string, int> counts;
  std::ifstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    // "-f" puts the process's number first.
    const std::size_t begin = line.find_first_not_of("0123456789 ");
    const std::string name = line.substr(begin, line.find('(') - begin);
    const int count = ++counts[name];
    const bool isFirst = name == "openat" && line.find(traced.folder()) != std::string::npos;
    if (isFirst || !calls.empty()) calls.emplace_back(name, count);
  }
  return calls;
}

TEST_F(ReplaceFileFaults, KilledAtAnySystemCall) {
  const test::TemporaryFolder log;
  std::map<std::string, int> killed;
  for (const auto& [call, count] : callsOf(Traced(), log.path("log"))) {
    const Traced traced;
    const std::string kill = "-o /dev/null -e inject=" + call + ":signal=KILL:when=" + std::to_string(count);
    if (traced.run(kill) != 128 + 9) continue;  // not every run has as many calls
    ++killed[traced.content()];
    EXPECT_LE(traced.files(), 2) << call << " " << count;
    EXPECT_EQ(traced.run("-o /dev/null"), 0) << "once more, after " << call << " " << count;
    EXPECT_EQ(traced.content(), "new");
  }
  EXPECT_EQ(killed["torn"], 0);
  EXPECT_GE(killed["old"], 8) << "before openat, fchmod, write, fsync and rename at least";
  EXPECT_GE(killed["new"], 2);
}

}  // namespace
}  // namespace quelto::platform
