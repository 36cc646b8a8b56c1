#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <future>
#include <string>
#include <vector>

#include "tests/keychain/secret_service/secret_service_calls.h"
#include "tests/support/keyring_surroundings.h"
#include "tests/support/process_surroundings.h"

namespace quelto::keychain {
namespace {

using test::Companion;
using test::KeyringSurroundings;
using test::OwnThreads;
using test::shell;
using SecretServicePair = SecretService;
using Keys = std::vector<std::string>;

TEST_F(SecretServicePair, IsAddedWholeOrNotAtAll) {
  const Keys pair{"private of me", "public of me"};
  const OSStatus noAnswer = errSecNotAvailable;
  const OSStatus refused = errSecInteractionNotAllowed;
  struct Row {
    const char* answers;
    OSStatus status;
    Keys kept;
  };
  const Row rows[] = {
      {"create create", errSecSuccess, pair},
      {"create refuse", errSecIO, {}},
      {"refuse create", errSecIO, {}},
      // What another program has added meanwhile stays.
      {"create twin", errSecIO, {"private of me"}},
      {"prompt prompt", errSecSuccess, pair},
      {"prompt dismiss", refused, {}},
      {"dismiss prompt", refused, {}},
      {"create dismiss", refused, {}},
      {"create die", noAnswer, {std::to_string(noAnswer)}},
      {"create vanish", noAnswer, {std::to_string(noAnswer)}},
      {"create late-create", noAnswer, pair},
      {"create late-refuse", noAnswer, {}},
  };
  for (const Row& row : rows) {
    KeyringSurroundings around;
    around.set("DISPLAY", ":987");
    const Companion keyring(
        std::string("exec /usr/bin/python3 " FAKE_KEYRING " ") + row.answers + " >/dev/null 2>&1",
        Companion::Speech::announces);
    const OwnThreads threads;
    EXPECT_EQ(timed([] { return addPair("me", "t"); }), row.status) << row.answers;
    keyring.signal(SIGUSR1);
    EXPECT_TRUE(threads.haveEnded()) << row.answers;
    EXPECT_EQ(takeKeys(), row.kept) << row.answers;
  }
}

TEST_F(SecretServicePair, IsNotThoughtGoneBecauseADialogIs) {
  KeyringSurroundings around;
  around.set("DISPLAY", ":987");
  const Companion keyring("exec /usr/bin/python3 " FAKE_KEYRING " create create /no/dialog >/dev/null 2>&1",
                          Companion::Speech::announces);
  ASSERT_EQ(addPair("me", "t"), errSecSuccess);
  EXPECT_EQ(store().remove({.itemClass = ItemClass::key, .attributes = {}}), errSecIO);
  EXPECT_EQ(takeKeys().size(), 2U) << "the other half was not taken for it";
}

/// Tells this program that it is one of the processes of the test below.
constexpr const char* isOneOfMany = "QUELTO_TEST_IS_ONE_OF_MANY";
constexpr int makersInProcess = 4;
constexpr int rounds = 6;

/// Adds, in each round, a pair that all makers want to add, and an item of its own. How many pairs it has
/// added; more than there are when another answer than "success" and "duplicate" came.
int addAsOneMaker(const std::string& maker) {
  int pairs = 0;
  for (int round = 0; round < rounds; ++round) {
    const OSStatus status = addPair(maker, std::to_string(round));
    if (status == errSecSuccess) ++pairs;
    const bool isExpected = status == errSecSuccess || status == errSecDuplicateItem;
    if (!isExpected || add(attributesOf(maker + std::to_string(round))) != errSecSuccess) return 100;
  }
  return pairs;
}

int addAsSeveralMakers(const std::string& process) {
  std::vector<std::future<int>> makers;
  for (int maker = 0; maker < makersInProcess; ++maker) {
    makers.push_back(std::async(std::launch::async, addAsOneMaker, process + std::to_string(maker)));
  }
  int pairs = 0;
  for (std::future<int>& maker : makers) pairs += maker.get();
  return pairs;
}

TEST_F(SecretServicePair, IsOfOneMakerHoweverManyAddItAtOnce) {
  if (const char* const process = std::getenv(isOneOfMany); process != nullptr)
    ::_exit(addAsSeveralMakers(process));
  KeyringSurroundings around;
  around.startKeyring();
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").string() +
                              " --gtest_filter=SecretServicePair.IsOfOneMakerHoweverManyAddItAtOnce";
  const auto inProcess = [&](const char* process) {
    const std::string environment = std::string("env ") + isOneOfMany + "=" + process + " ";
    return std::async(std::launch::async, [=] { return shell(environment + program).status; });
  };
  auto one = inProcess("a");
  auto other = inProcess("b");
  EXPECT_EQ(addAsSeveralMakers("c") + one.get() + other.get(), rounds);
  for (int round = 0; round < rounds; ++round) {
    const Keys keys = takeKeys();
    ASSERT_EQ(keys.size(), 2U);
    EXPECT_EQ(keys.front().substr(0, 11), "private of ");
    EXPECT_EQ(keys.back(), "public of " + keys.front().substr(11));
  }
}

}  // namespace
}  // namespace quelto::keychain
