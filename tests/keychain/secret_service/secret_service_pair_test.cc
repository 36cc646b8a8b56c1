#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <vector>

#include "tests/keychain/secret_service/secret_service_calls.h"

namespace quelto::keychain {
namespace {

using test::Companion;
using test::KeyringSurroundings;
using test::OwnThreads;
using Keys = std::vector<std::string>;

/// Removes all keys: "class of maker" of each, oldest first, or the status of a failure.
Keys takeKeys() {
  const ItemMatch any{.itemClass = ItemClass::key, .attributes = {}};
  Keys keys;
  for (Item key;;) {
    const OSStatus status = store().find(any, ItemStore::Want::attributesAndSecret, key);
    if (status == errSecItemNotFound) return keys;
    if (status != errSecSuccess || store().remove(any) != errSecSuccess) return {std::to_string(status)};
    keys.push_back(key.attributes["keyclass"] + " of " + std::string(key.secret.view()));
  }
}

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
    EXPECT_EQ(timed([] { return test::addPair(store(), "t", "me"); }), row.status) << row.answers;
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
  ASSERT_EQ(test::addPair(store(), "t", "me"), errSecSuccess);
  EXPECT_EQ(store().remove({.itemClass = ItemClass::key, .attributes = {}}), errSecIO);
  EXPECT_EQ(takeKeys().size(), 2U) << "the other half was not taken for it";
}

}  // namespace
}  // namespace quelto::keychain
