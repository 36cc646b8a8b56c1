#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "platform/files/read_file.h"
#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

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
