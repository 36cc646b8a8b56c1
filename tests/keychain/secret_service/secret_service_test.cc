#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <string>

#include "platform/threads/deadline.h"
#include "tests/keychain/secret_service/secret_service_calls.h"
#include "tests/support/temporary_folder.h"

namespace quelto::keychain {
namespace {

using Collection = test::KeyringSurroundings::Collection;
using Want = ItemStore::Want;
using test::isInMemory;
using test::KeyringSurroundings;
using test::secretFrom;
using test::shell;

bool isGlibLoaded() { return test::contentOf("/proc/self/maps").find("libglib") != std::string::npos; }

// The first test, since it is about the first use.
TEST_F(SecretService, TouchesNeitherSignalsNorStreamsOfTheProcess) {
  EXPECT_FALSE(isGlibLoaded()) << "only the module brings it";
  ::signal(SIGPIPE, SIG_DFL);
  std::string printed;
  {
    const test::Captured standardOutput(STDOUT_FILENO);
    EXPECT_EQ(add("alice"), errSecSuccess);
    EXPECT_EQ(find("alice"), errSecSuccess);
    printed = standardOutput.text();
  }
  EXPECT_EQ(printed, "");
  EXPECT_TRUE(isGlibLoaded());
  EXPECT_EQ(::signal(SIGPIPE, SIG_DFL), SIG_DFL);
}

TEST_F(SecretService, LeavesNoSecretInFreedMemory) {
  constexpr const char* inversePart = "inverted, this is a part of the secret";
  // So long that parts of it outlast what is written into freed memory.
  std::string inverse;
  while (inverse.size() < 10000) inverse += inversePart;
  ASSERT_EQ(add(matchOf("alice").attributes, test::secretFrom(inverse)), errSecSuccess);
  {
    Item found;
    ASSERT_EQ(store().find(matchOf("alice"), Want::attributesAndSecret, found), errSecSuccess);
    EXPECT_TRUE(isInMemory(inversePart)) << "while it is in our hands";
  }
  EXPECT_FALSE(isInMemory(inversePart));
}

TEST_F(SecretService, IsReadableToOtherPrograms) {
  Attributes attributes = matchOf("alice").attributes;
  attributes.insert(
      {{"label", "svn+ssh://host: Zoë"}, {"generic", std::string("a\0b", 3)}, {"comment", "two\nlines"}});
  ASSERT_EQ(add(attributes, platform::Secret("geheim ü")), errSecSuccess);
  const std::string query = " class org.quelto.genericPassword service svn account alice";
  EXPECT_EQ(shell("secret-tool lookup" + query).text, "geheim ü");
  const std::string shown = shell("secret-tool search" + query).text;
  for (const char* line : {"label = svn+ssh://host: Zoë\n", "attribute.account = alice\n",
                           "attribute.service = svn\n", "attribute.generic = data:,a%00b\n",
                           "attribute.comment = data:,two%0Alines\n", "schema = org.quelto.suite\n"})
    EXPECT_NE(shown.find(line), std::string::npos) << line << "in\n" << shown;
}

TEST_F(SecretService, LeavesTheWordsOfOtherProgramsAsTheyAre) {
  const std::string attributes = " class org.quelto.key tag data:,%61 xdg:other 1";
  ASSERT_EQ(shell("sh -c \"echo x | secret-tool store --label=data:,b" + attributes + "\"").status, 0);
  ASSERT_EQ(shell("sh -c \"echo x | secret-tool store --label=L class key tag data:,%61\"").status, 0);
  Item found;
  ASSERT_EQ(store().find({.itemClass = ItemClass::key, .attributes = {}}, Want::attributes, found),
            errSecSuccess);
  EXPECT_EQ(found.attributes, (Attributes{{"tag", "data:,%61"}, {"label", "data:,b"}}));
}

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

namespace quelto::test {

struct OpenKeyring final : StoreSurroundings {
  OpenKeyring() { around.startKeyring(); }
  void restart() override { around.startKeyring(); }
  KeyringSurroundings around;
};
INSTANTIATE_TEST_SUITE_P(
    SecretService, ItemStoreContract,
    testing::Values(StoreKind{
        .name = "SecretService",
        .surround = std::make_unique<OpenKeyring>,
        .open = [] { return std::shared_ptr<ItemStore>(std::shared_ptr<void>(), &keychain::store()); }}),
    testing::PrintToStringParamName());

}  // namespace quelto::test
