#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <regex>
#include <thread>
#include <vector>

#include "keychain/embedded/writer_lock.h"
#include "tests/keychain/embedded/embedded_surroundings.h"
#include "tests/support/process_surroundings.h"
#include "tests/support/processes.h"

namespace quelto::keychain {
namespace {

using platform::Secret;
using platform::UniqueFd;
using test::addItem;
using test::addPair;
using test::exitStatusOf;
using test::findItem;
using test::inChild;
using test::KeychainFolder;
using test::makerOf;
using test::matchOf;
using test::writeFile;

TEST(EmbeddedProcesses, MakeOneWholePairWhenAllMakeTheSameAtOnce) {
  for (int round = 0; round < 30; ++round) {
    const KeychainFolder folder;
    test::Children makers;
    for (int maker = 0; maker < 2 + round % 15; ++maker) {
      makers.add([&folder, maker] {
        EmbeddedKeychain store(folder.path());
        auto halves = test::pairOf("same", std::to_string(maker));
        if (maker % 2 != 0) std::swap(halves[0], halves[1]);
        const OSStatus status = store.add(halves);
        return status == errSecSuccess ? 1 : status == errSecDuplicateItem ? 0 : 2;
      });
    }
    const std::vector<int> results = makers.exitStatuses();
    const auto winner = std::ranges::find(results, 1);
    EXPECT_EQ(std::ranges::count(results, 1), 1) << round;
    EXPECT_EQ(std::ranges::count(results, 0), std::ssize(results) - 1) << round;
    EmbeddedKeychain store(folder.path());
    EXPECT_EQ(makerOf(store, "same"), std::to_string(winner - results.begin())) << round;
  }
}

/// Whether somebody in another open of the file holds this ticket.
bool isTaken(const KeychainFolder& folder, off_t ticket) {
  const UniqueFd file(::open((folder.path() + "/keychain.lock").c_str(), O_RDWR | O_CLOEXEC));
  struct flock range = {.l_type = F_WRLCK, .l_whence = SEEK_SET, .l_start = ticket, .l_len = 1, .l_pid = 0};
  return ::fcntl(file.get(), F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

TEST(EmbeddedProcesses, AreServedInTheOrderInWhichTheyCame) {
  const KeychainFolder folder;
  EmbeddedKeychain store(folder.path());
  ASSERT_EQ(addItem(store, "0"), errSecSuccess);
  const platform::Deadline deadline(std::chrono::seconds(3));
  auto first =
      std::make_unique<embedded::WriterLock>(*platform::PrivateFolder::open(folder.path()), deadline);
  {
    std::vector<std::jthread> threads;
    for (int number = 1; number < 8; ++number) {
      threads.emplace_back(
          [&folder, number] { EXPECT_EQ(addItem(*folder.opened(), std::to_string(number)), errSecSuccess); });
      while (!isTaken(folder, number + 1) && deadline.pause()) {
      }
    }
    EXPECT_FALSE(deadline.isOver());
    first.reset();
  }
  EXPECT_THAT(test::takeAccounts(store), testing::ElementsAre("0", "1", "2", "3", "4", "5", "6", "7"));
}

/// The files of a keychain. Of those that a process left behind that was killed while it published one, only
/// known names are left out.
std::ptrdiff_t filesIn(const KeychainFolder& folder) {
  const std::regex leftBehind("(keychain\\.sqlite|master\\.key|keychain\\.lock)\\.new-[0-9a-f]{16}");
  return std::ranges::count_if(std::filesystem::directory_iterator(folder.path()), [&](const auto& entry) {
    return !std::regex_match(entry.path().filename().string(), leftBehind);
  });
}

TEST(EmbeddedProcesses, KeepWholePairsOnlyWhenTheyAreKilledAnywhere) {
  // From the very first step on, and so often in a keychain that has items already.
  for (const bool isNew : {true, false}) {
    auto folder = std::make_unique<KeychainFolder>();
    std::size_t added = 0;
    for (int round = 1; round <= 40; ++round) {
      if (isNew) folder = std::make_unique<KeychainFolder>();
      if (isNew) added = 0;
      platform::Pipe done = platform::makePipe();
      const pid_t child = inChild([&] {
        const itimerval end{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_usec = round * 151}};
        ::setitimer(ITIMER_REAL, &end, nullptr);
        EmbeddedKeychain store(folder->path());
        for (std::size_t i = added; addPair(store, std::to_string(i), "ann") == errSecSuccess; ++i) {
          if (::write(done.writeEnd.get(), "", 1) != 1) break;
        }
        return 1;
      });
      done.writeEnd.reset();
      added += test::countUntilEnd(done.readEnd);
      EXPECT_EQ(exitStatusOf(child), -SIGALRM);
      EmbeddedKeychain store(folder->path());
      for (std::size_t i = 0; i < added; ++i) EXPECT_EQ(makerOf(store, std::to_string(i)), "ann") << round;
      // One more may have been added without our having heard of it.
      const bool isThere = addPair(store, std::to_string(added), "ann") == errSecDuplicateItem;
      EXPECT_EQ(makerOf(store, std::to_string(added)), "ann") << round << isThere;
      EXPECT_EQ(makerOf(store, std::to_string(++added)), "nobody") << round;
      EXPECT_EQ(filesIn(*folder), 4) << "database, journal, key, lock";
    }
  }
}

/// Adds until it fails; whether that was with errSecIO, and nothing was lost or torn by it.
bool isWholeWhenNothingFits(const std::string& path) {
  EmbeddedKeychain store(path);
  // The second half is so large that it meets the limit when the first has been written.
  auto uneven = test::pairOf("uneven", "");
  uneven[1].secret = Secret(std::string(8U << 20U, 'x'));
  if (addPair(store, "0", "0") != errSecSuccess || store.add(uneven) != errSecIO) return false;
  int added = 1;
  OSStatus status = errSecSuccess;
  const auto addNext = [&](const std::string& name) { return status = addPair(store, name, name); };
  while (added < 10'000 && addNext(std::to_string(added)) == errSecSuccess) ++added;
  if (added == 1 || status != errSecIO) return false;
  EmbeddedKeychain later(path);
  for (int i = 0; i < added; ++i)
    if (makerOf(later, std::to_string(i)) != std::to_string(i)) return false;
  return makerOf(later, "uneven") == "nobody" && makerOf(later, std::to_string(added)) == "nobody";
}

bool isWholeUnderASizeLimit(const KeychainFolder& folder) {
  const test::FileSizeLimit limit(100'000);
  return isWholeWhenNothingFits(folder.path());
}

/// In a user namespace of its own a process may mount whatever its user may not.
bool enterUserNamespace() {
  const std::string user = std::to_string(::geteuid());
  const std::string group = std::to_string(::getegid());
  if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  writeFile("/proc/self/setgroups", "deny");
  writeFile("/proc/self/uid_map", user + " " + user + " 1");
  writeFile("/proc/self/gid_map", group + " " + group + " 1");
  return true;
}

/// From now on no other process sees what this one mounts. False where the machine does not permit it.
bool ownMounts(const KeychainFolder& folder) {
  if (::unshare(CLONE_NEWNS) != 0) return enterUserNamespace();
  const UniqueFd root(::open("/", O_PATH | O_CLOEXEC));
  // A chroot's root need not be a mount point. Outside of any root, the way up leads to the one that is.
  bool isOutside = ::fchdir(root.get()) == 0 && ::chroot(folder.above().c_str()) == 0;
  constexpr int deepest = 100;
  for (int i = 0; isOutside && i < deepest; ++i) isOutside = ::chdir("..") == 0;
  return isOutside && ::mount("none", ".", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::fchdir(root.get()) == 0 && ::chroot(".") == 0;
}

/// A file system of its own, seen by this process only.
bool mountAbove(const KeychainFolder& folder, const char* options) {
  return ownMounts(folder) && ::mount("none", folder.above().c_str(), "tmpfs", 0, options) == 0;
}

bool isWholeOnAFullDisk(const KeychainFolder& folder) {
  if (!mountAbove(folder, "size=400k")) return false;
  const std::string filler = folder.above() + "/filler";
  writeFile(filler, std::string(100'000, 'x'));
  if (!isWholeWhenNothingFits(folder.path())) return false;
  // Updates and deletions need room for their journal; once there is some, everything goes on.
  EmbeddedKeychain store(folder.path());
  std::filesystem::remove(filler);
  return addItem(store, "after") == errSecSuccess &&
         store.remove(test::halfOf("0", "private")) == errSecSuccess &&
         findItem(store, "after") == errSecSuccess;
}

bool makesNothingOnAFullDisk(const KeychainFolder& folder) {
  if (!mountAbove(folder, "size=4k")) return false;
  writeFile(folder.above() + "/filler", std::string(4096, 'x'));
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
         addItem(later, "bob") == errSecNotAvailable && later.remove(matchOf("alice")) == errSecNotAvailable;
}

bool holdsInChild(bool (*holds)(const KeychainFolder&)) {
  const KeychainFolder folder;
  return exitStatusOf(inChild([&] { return holds(folder) ? 0 : 1; })) == 0;
}

TEST(EmbeddedDisk, LosesNothingUnderASizeLimit) { EXPECT_TRUE(holdsInChild(isWholeUnderASizeLimit)); }

TEST(EmbeddedDisk, LosesNothingWhenItCannotBeWritten) {
  if (!holdsInChild(ownMounts)) GTEST_SKIP() << "neither this user nor a user namespace may mount here";
  EXPECT_TRUE(holdsInChild(isWholeOnAFullDisk));
  EXPECT_TRUE(holdsInChild(makesNothingOnAFullDisk)) << "full from the beginning";
  EXPECT_TRUE(holdsInChild(isRefusedOnAReadOnlyFileSystem));
}

TEST(EmbeddedProcesses, AnswerInTimeWhileAnotherKeepsTheDatabaseLocked) {
  const KeychainFolder folder;
  EmbeddedKeychain store(folder.path());
  ASSERT_EQ(addItem(store, "alice"), errSecSuccess);
  auto other = std::make_unique<embedded::Database>(std::move(*platform::PrivateFolder::open(folder.path())),
                                                    embedded::databaseName,
                                                    platform::Deadline(std::chrono::seconds(1)));
  other->runScript("BEGIN EXCLUSIVE");
  const std::function<OSStatus(EmbeddedKeychain&)> calls[] = {
      [](auto& each) { return findItem(each, "alice"); },
      [](auto& each) { return addItem(each, "bob"); },
      [](auto& each) { return each.updateSecret(matchOf("alice"), Secret("x")); },
      [](auto& each) { return each.remove(matchOf("alice")); },
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
  other.reset();
  EXPECT_EQ(findItem(store, "alice"), errSecSuccess);
  EXPECT_EQ(findItem(store, "bob"), errSecItemNotFound);
}

}  // namespace
}  // namespace quelto::keychain
