#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>

#include "platform/threads/deadline.h"
#include "tests/keychain/secret_service/secret_service_calls.h"

namespace quelto::keychain {
namespace {

using test::KeyringSurroundings;
using test::secretFrom;
using test::shell;
using Collection = KeyringSurroundings::Collection;

constexpr const char* seekDialog = "xdotool search --onlyvisible --class gcr-prompter";
bool isDialogUp() { return shell(seekDialog).status == 0; }
bool dialogAppears() {
  return shell(std::string("sh -c 'until ") + seekDialog + "; do :; done'").status == 0;
}
/// xdotool fails when a key closes the dialog, and leaves that key pressed, to be repeated into the next one.
void typeIntoDialog(const std::string& keys) {
  (void)shell(seekDialog + (" windowfocus " + keys));
  EXPECT_EQ(shell("xdotool keyup Escape keyup Return").status, 0);
}
bool dialogDisappears() {
  return shell(std::string("sh -c 'while ") + seekDialog + "; do :; done'").status == 0;
}

TEST_F(SecretServiceDialog, IsOpenedByThePerson) {
  KeyringSurroundings around({.display = true});
  around.startKeyring();
  ASSERT_EQ(add("alice"), errSecSuccess);
  around.startKeyring(Collection::asItIs);
  const std::string display = std::getenv("DISPLAY");
  around.set("DISPLAY", {});
  EXPECT_EQ(answersFor("alice"), all(errSecInteractionNotAllowed));
  around.set("DISPLAY", display);
  EXPECT_FALSE(isDialogUp()) << "on somebody else's screen";

  const auto answerTo = [](const std::string& keys, const auto& call) {
    auto answer = std::async(std::launch::async, call);
    EXPECT_TRUE(dialogAppears());
    typeIntoDialog(keys);
    return answer.get();
  };
  const auto findAlice = [] { return timed([] { return find("alice"); }); };
  const auto addLate = [] { return timed([] { return add("late"); }); };
  EXPECT_EQ(answerTo("key Escape", findAlice), errSecInteractionNotAllowed);
  EXPECT_TRUE(dialogDisappears());
  EXPECT_EQ(answerTo("key Escape", stateInTime), KeyringState::leftLocked);
  EXPECT_TRUE(dialogDisappears());
  EXPECT_EQ(answerTo("type test", addLate), errSecInteractionNotAllowed) << "without the last key";
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(seenOf("alice"), std::pair(KeyringState::leftLocked, all(errSecInteractionNotAllowed)));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3))
      << "nobody waits for the dialog";
  typeIntoDialog("key Return");
  const platform::Deadline deadline(std::chrono::seconds(10));
  while (find("alice") == errSecInteractionNotAllowed && !deadline.isOver()) continue;
  EXPECT_EQ(find("alice"), errSecSuccess);
  EXPECT_TRUE(dialogDisappears());
  EXPECT_EQ(find("late"), errSecItemNotFound) << "added after its call had ended";

  around.startKeyring(Collection::asItIs);
  EXPECT_EQ(answerTo("key t e s t Return", stateInTime), KeyringState::open);
  EXPECT_EQ(findAlice(), errSecSuccess);
}

TEST_F(SecretServiceDialog, LeavesNoSecretWithAThreadThatWaitsForThePerson) {
  constexpr const char* inverse = "inverted, this is the secret";
  const auto addSecret = [](const std::string& account) {
    return add(matchOf(account).attributes, secretFrom(inverse));
  };
  const auto updateSecret = [](const std::string& account) {
    return store().updateSecret(matchOf(account), secretFrom(inverse));
  };
  KeyringSurroundings around({.display = true});
  around.startKeyring();
  ASSERT_EQ(addSecret("alice"), errSecSuccess);
  const test::OwnThreads threads;
  const struct {
    const char* name;
    std::function<OSStatus()> call;
  } rows[] = {{"add", [&] { return addSecret("new"); }}, {"update", [&] { return updateSecret("alice"); }}};
  for (const auto& row : rows) {
    around.lockCollection();
    EXPECT_EQ(row.call(), errSecInteractionNotAllowed) << row.name;
    EXPECT_FALSE(test::isInMemory(inverse)) << row.name;
    EXPECT_TRUE(dialogAppears()) << row.name;
    typeIntoDialog("key Escape");
    EXPECT_TRUE(dialogDisappears()) << row.name;
    EXPECT_TRUE(threads.haveEnded()) << row.name;
  }
}

}  // namespace
}  // namespace quelto::keychain
