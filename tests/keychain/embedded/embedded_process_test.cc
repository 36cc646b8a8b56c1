#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <vector>

#include "keychain/embedded/writers_queue.h"
#include "platform/files/unique_fd.h"
#include "tests/keychain/embedded/embedded_surroundings.h"

namespace quelto::keychain {
namespace {

using test::addItem;
using test::findItem;
using test::KeychainFolder;
using test::matchOf;

struct Pipe {
  Pipe() {
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) std::abort();
    reader = platform::UniqueFd(ends[0]);
    writer = platform::UniqueFd(ends[1]);
  }
  platform::UniqueFd reader;
  platform::UniqueFd writer;
};

std::size_t countUntilEnd(const platform::UniqueFd& reader) {
  std::size_t count = 0;
  for (char byte = 0; ::read(reader.get(), &byte, 1) == 1;) ++count;
  return count;
}

/// A process that ends with what the function returns.
pid_t inChild(const std::function<int()>& run) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(run());
  return child;
}

int waitStatusOf(pid_t child) {
  int status = -1;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

TEST(EmbeddedProcesses, LoseNothingWhenSixteenBeginAndAddAtOnce) {
  const KeychainFolder folder;
  Pipe start;
  constexpr int processes = 16;
  constexpr int itemsOfEach = 100;
  std::vector<pid_t> children;
  for (int process = 0; process < processes; ++process) {
    children.push_back(inChild([&] {
      start.writer.reset();
      countUntilEnd(start.reader);
      EmbeddedKeychain store(folder.path());
      int failures = 0;
      for (int i = 0; i < itemsOfEach; ++i) {
        failures += addItem(store, std::to_string(process) + "/" + std::to_string(i)) != errSecSuccess;
      }
      const OSStatus common = addItem(store, "common");
      return common == errSecSuccess && failures == 0         ? 1
             : failures != 0 || common != errSecDuplicateItem ? 2
                                                              : 0;
    }));
  }
  start.writer.reset();
  int commonAdded = 0;
  for (const pid_t child : children) {
    const int status = waitStatusOf(child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) < 2) << status;
    commonAdded += WEXITSTATUS(status);
  }
  EXPECT_EQ(commonAdded, 1);
  EmbeddedKeychain store(folder.path());
  for (int process = 0; process < processes; ++process) {
    for (int i = 0; i < itemsOfEach; ++i) {
      EXPECT_EQ(findItem(store, std::to_string(process) + "/" + std::to_string(i)), errSecSuccess);
    }
  }
}

/// Whether somebody in another open of the file holds this number of the queue.
bool isNumberTaken(const KeychainFolder& folder, off_t number) {
  const platform::UniqueFd queue(::open((folder.path() + "/keychain.queue").c_str(), O_RDWR | O_CLOEXEC));
  struct flock range = {.l_type = F_WRLCK, .l_whence = SEEK_SET, .l_start = number, .l_len = 1, .l_pid = 0};
  return ::fcntl(queue.get(), F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

TEST(EmbeddedProcesses, AreServedInTheOrderInWhichTheyCame) {
  const KeychainFolder folder;
  EmbeddedKeychain store(folder.path());
  ASSERT_EQ(addItem(store, "0"), errSecSuccess);
  embedded::Deadline deadline(std::chrono::seconds(3));
  auto first =
      std::make_unique<embedded::PlaceInQueue>(*platform::PrivateFolder::open(folder.path()), deadline);
  {
    std::vector<std::jthread> threads;
    for (int number = 1; number < 8; ++number) {
      threads.emplace_back([&folder, number] {
        EXPECT_EQ(addItem(*std::make_unique<EmbeddedKeychain>(folder.path()), std::to_string(number)),
                  errSecSuccess);
      });
      while (!isNumberTaken(folder, number + 1) && deadline.pause()) {
      }
    }
    EXPECT_FALSE(deadline.isOver());
    first.reset();
  }
  const ItemMatch all{ItemClass::genericPassword, {{"service", "svn"}}};
  for (int number = 0; number < 8; ++number) {
    Item oldest;
    EXPECT_EQ(store.find(all, ItemStore::Want::attributes, oldest), errSecSuccess);
    EXPECT_EQ(oldest.attributes["account"], std::to_string(number));
    EXPECT_EQ(store.remove(all, HowMany::first), errSecSuccess);
  }
}

std::ptrdiff_t filesIn(const KeychainFolder& folder) {
  std::error_code notMadeYet;
  return std::distance(std::filesystem::directory_iterator(folder.path(), notMadeYet), {});
}

TEST(EmbeddedProcesses, KeepWholeItemsOnlyWhenTheyAreKilledAnywhere) {
  // From the very first step on, and so often in a keychain that has items already.
  for (const bool isNew : {true, false}) {
    auto folder = std::make_unique<KeychainFolder>();
    std::size_t added = 0;
    for (int round = 1; round <= 40; ++round) {
      if (isNew) folder = std::make_unique<KeychainFolder>();
      if (isNew) added = 0;
      Pipe done;
      const pid_t child = inChild([&] {
        const itimerval end{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_usec = round * 151}};
        ::setitimer(ITIMER_REAL, &end, nullptr);
        EmbeddedKeychain store(folder->path());
        for (std::size_t i = added; addItem(store, std::to_string(i)) == errSecSuccess; ++i) {
          if (::write(done.writer.get(), "", 1) != 1) break;
        }
        return 1;
      });
      done.writer.reset();
      added += countUntilEnd(done.reader);
      EXPECT_EQ(waitStatusOf(child), SIGALRM);
      EmbeddedKeychain store(folder->path());
      for (std::size_t i = 0; i < added; ++i)
        EXPECT_EQ(findItem(store, std::to_string(i)), errSecSuccess) << round;
      // One more may have been added without our having heard of it.
      if (addItem(store, std::to_string(added)) == errSecDuplicateItem) {
        EXPECT_EQ(findItem(store, std::to_string(added)), errSecSuccess);
      }
      EXPECT_EQ(findItem(store, std::to_string(++added)), errSecItemNotFound);
      EXPECT_EQ(filesIn(*folder), 4) << "database, journal, key, queue";
    }
  }
}

/// Adds until it fails; whether that was with errSecIO, and nothing was lost by it.
bool isWholeWhenNothingFits(const std::string& path) {
  EmbeddedKeychain store(path);
  int added = 0;
  OSStatus status = errSecSuccess;
  while (added < 10'000 && (status = addItem(store, std::to_string(added))) == errSecSuccess) ++added;
  if (added == 0 || status != errSecIO) return false;
  EmbeddedKeychain later(path);
  for (int i = 0; i < added; ++i) {
    if (findItem(later, std::to_string(i)) != errSecSuccess) return false;
  }
  return findItem(later, std::to_string(added)) == errSecItemNotFound;
}

bool isWholeUnderASizeLimit(const KeychainFolder& folder) {
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{.rlim_cur = 100'000, .rlim_max = 100'000};
  return ::setrlimit(RLIMIT_FSIZE, &limit) == 0 && isWholeWhenNothingFits(folder.path());
}

/// A file system of its own, seen by this process only.
bool mountAbove(const KeychainFolder& folder, const char* options) {
  return ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::mount("none", folder.above().c_str(), "tmpfs", 0, options) == 0;
}

bool isWholeOnAFullDisk(const KeychainFolder& folder) {
  if (!mountAbove(folder, "size=400k")) return false;
  const std::string filler = folder.above() + "/filler";
  std::ofstream(filler) << std::string(100'000, 'x');
  if (!isWholeWhenNothingFits(folder.path())) return false;
  // Updates and deletions need room for their journal; once there is some, everything goes on.
  EmbeddedKeychain store(folder.path());
  std::filesystem::remove(filler);
  return addItem(store, "after") == errSecSuccess &&
         store.remove(matchOf("0"), HowMany::all) == errSecSuccess &&
         findItem(store, "after") == errSecSuccess;
}

bool makesNothingOnAFullDisk(const KeychainFolder& folder) {
  if (!mountAbove(folder, "size=4k")) return false;
  std::ofstream(folder.above() + "/filler") << std::string(4096, 'x');
  EmbeddedKeychain store(folder.path());
  return addItem(store, "alice") == errSecIO && findItem(store, "alice") == errSecItemNotFound &&
         std::filesystem::is_empty(folder.path());
}

bool isRefusedOnAReadOnlyFileSystem(const KeychainFolder& folder) {
  if (!mountAbove(folder, "")) return false;
  auto store = std::make_unique<EmbeddedKeychain>(folder.path());
  const bool isAdded = addItem(*store, "alice") == errSecSuccess;
  store.reset();  // an open journal would keep the file system writable
  if (::mount("none", folder.above().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) != 0) return false;
  EmbeddedKeychain later(folder.path());
  return isAdded && findItem(later, "alice") == errSecNotAvailable &&
         addItem(later, "bob") == errSecNotAvailable &&
         later.remove(matchOf("alice"), HowMany::all) == errSecNotAvailable;
}

bool holdsInChild(bool (*holds)(const KeychainFolder&)) {
  const KeychainFolder folder;
  return waitStatusOf(inChild([&] { return holds(folder) ? 0 : 1; })) == 0;
}

TEST(EmbeddedDisk, LosesNothingUnderASizeLimit) { EXPECT_TRUE(holdsInChild(isWholeUnderASizeLimit)); }

TEST(EmbeddedDisk, LosesNothingWhenItCannotBeWritten) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can mount";
  EXPECT_TRUE(holdsInChild(isWholeOnAFullDisk));
  EXPECT_TRUE(holdsInChild(makesNothingOnAFullDisk)) << "full from the beginning";
  EXPECT_TRUE(holdsInChild(isRefusedOnAReadOnlyFileSystem));
}

/// From now on this process is on file systems without nameless files, and without what the last call does.
bool refuseNamelessFilesAnd(unsigned call) {
  constexpr unsigned nameless = O_TMPFILE & ~O_DIRECTORY;
  sock_filter steps[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 4, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 2),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
      BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, nameless, 1, 0),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EOPNOTSUPP),
  };
  const sock_fprog program{.len = std::size(steps), .filter = steps};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(EmbeddedDisk, IsUsedWithoutNamelessFilesAndWithoutLinksOrRenamesThatReplaceNothing) {
  for (const unsigned call : {unsigned{SYS_linkat}, unsigned{SYS_renameat2}}) {
    const KeychainFolder folder;
    EXPECT_EQ(waitStatusOf(inChild([&] {
                EmbeddedKeychain store(folder.path());
                return refuseNamelessFilesAnd(call) && addItem(store, "alice") == errSecSuccess ? 0 : 1;
              })),
              0);
    EXPECT_EQ(findItem(*std::make_unique<EmbeddedKeychain>(folder.path()), "alice"), errSecSuccess);
    EXPECT_EQ(filesIn(folder), 4) << "database, journal, key, queue";
  }
}

TEST(EmbeddedProcesses, AnswerInTimeWhileAnotherKeepsTheDatabaseLocked) {
  const KeychainFolder folder;
  EmbeddedKeychain store(folder.path());
  ASSERT_EQ(addItem(store, "alice"), errSecSuccess);
  Pipe locked;
  Pipe end;
  const pid_t child = inChild([&] {
    end.writer.reset();
    embedded::Database database(folder.database(), embedded::Deadline(std::chrono::seconds(1)));
    database.runScript("BEGIN EXCLUSIVE");
    const bool isSaid = ::write(locked.writer.get(), "", 1) == 1;
    countUntilEnd(end.reader);
    return isSaid ? 0 : 1;
  });
  char byte = 1;
  ASSERT_EQ(::read(locked.reader.get(), &byte, 1), 1);
  const std::function<OSStatus(EmbeddedKeychain&)> calls[] = {
      [](auto& each) { return findItem(each, "alice"); },
      [](auto& each) { return addItem(each, "bob"); },
      [](auto& each) { return each.updateSecret(matchOf("alice"), HowMany::all, platform::Secret("x")); },
      [](auto& each) { return each.remove(matchOf("alice"), HowMany::all); },
  };
  const auto begin = std::chrono::steady_clock::now();
  {
    std::vector<std::jthread> threads;
    for (const auto& call : calls) {
      // Each with a keychain of its own, and one that is open already and shared by all.
      threads.emplace_back([&] {
        EmbeddedKeychain own(folder.path());
        EXPECT_EQ(call(own), errSecNotAvailable);
      });
      threads.emplace_back([&] { EXPECT_EQ(call(store), errSecNotAvailable); });
    }
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
  end.writer.reset();
  EXPECT_EQ(waitStatusOf(child), 0);
  EXPECT_EQ(findItem(store, "alice"), errSecSuccess);
  EXPECT_EQ(findItem(store, "bob"), errSecItemNotFound);
}

TEST(EmbeddedThreads, MayShareOneKeychain) {
  const KeychainFolder folder;
  EmbeddedKeychain store(folder.path());
  constexpr int itemsOfEach = 25;
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 6; ++thread) {
      threads.emplace_back([&store, thread] {
        for (int i = 0; i < itemsOfEach; ++i) {
          const std::string account = std::to_string(thread) + "/" + std::to_string(i);
          EXPECT_EQ(addItem(store, account), errSecSuccess);
          EXPECT_EQ(findItem(store, account), errSecSuccess);
          if (i % 2 == 0) continue;
          EXPECT_EQ(store.remove(matchOf(account), HowMany::first), errSecSuccess);
        }
      });
    }
  }
  for (int thread = 0; thread < 6; ++thread) {
    for (int i = 0; i < itemsOfEach; ++i) {
      EXPECT_EQ(findItem(store, std::to_string(thread) + "/" + std::to_string(i)),
                i % 2 != 0 ? errSecItemNotFound : errSecSuccess);
    }
  }
}

}  // namespace
}  // namespace quelto::keychain
