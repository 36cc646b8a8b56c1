#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "platform/files/unique_fd.h"
#include "tests/keychain/secret_service/secret_service_calls.h"

namespace quelto::keychain {
namespace {

using Collection = test::KeyringSurroundings::Collection;
using Keys = std::vector<std::string>;
using Seen = std::pair<KeyringState, Answers>;
using test::Companion;
using test::KeyringSurroundings;
using test::OwnThreads;

TEST_F(SecretServiceBus, HasToBeThereAndToAnswer) {
  KeyringSurroundings around;
  // Whoever launches a bus leaves a trace.
  std::filesystem::create_directory(around.path("bin"));
  std::ofstream(around.path("bin/dbus-launch")) << "#!/bin/sh\n>" << around.path("launched") << "\n";
  std::filesystem::permissions(around.path("bin/dbus-launch"), std::filesystem::perms::owner_all);
  around.set("PATH", around.path("bin") + ":" + std::getenv("PATH"));
  around.set("DISPLAY", ":987");
  const platform::UniqueFd silent(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  around.path("silent").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(silent.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(silent.get(), 16), 0);
  const OwnThreads threads;
  const struct {
    const char* name;
    std::optional<std::string> address;
    KeyringState state;
  } rows[] = {{"without the service", std::getenv("DBUS_SESSION_BUS_ADDRESS"), KeyringState::notHere},
              {"no bus", {}, KeyringState::notHere},
              {"to be launched", "autolaunch:", KeyringState::notHere},
              {"a dead address", "unix:path=" + around.path("nothing"), KeyringState::noAnswer},
              {"no address", "disabled:", KeyringState::noAnswer},
              {"one that never answers", "unix:path=" + around.path("silent"), KeyringState::noAnswer}};
  for (const auto& row : rows) {
    around.set("DBUS_SESSION_BUS_ADDRESS", row.address);
    // Where a bus is when nothing says so.
    if (!row.address) std::filesystem::remove(around.path("run/bus"));
    EXPECT_EQ(seenOf("alice"), Seen(row.state, all(errSecNotAvailable))) << row.name;
  }
  EXPECT_FALSE(std::filesystem::exists(around.path("launched")));
  EXPECT_TRUE(threads.haveEnded()) << "one still waits for the bus that never answers";
}

TEST_F(SecretServiceBus, MayGiveOutNoNames) {
  KeyringSurroundings around({.names = "org.freedesktop.secrets"});
  around.startKeyring();
  EXPECT_EQ(openKeyring(), KeyringState::open);
  EXPECT_EQ(add("alice"), errSecSuccess);
  EXPECT_EQ(add("alice"), errSecDuplicateItem);
  EXPECT_EQ(store().updateSecret(matchOf("alice"), platform::Secret("new")), errSecSuccess);
  EXPECT_EQ(test::secretOf(store(), matchOf("alice")), "new");
  EXPECT_EQ(store().remove(matchOf("alice")), errSecSuccess);
}

TEST_F(SecretServiceBus, StartsADaemonThatIsLocked) {
  KeyringSurroundings around({.activation = true});
  around.startKeyring();
  ASSERT_EQ(add("alice"), errSecSuccess);
  around.stopKeyring();
  EXPECT_EQ(seenOf("alice"), Seen(KeyringState::notHere, all(errSecInteractionNotAllowed)));
}

TEST_F(SecretService, IsOnTheBusOfTheEnvironmentAndNotWhereOthersCanPutOne) {
  around.set("DBUS_SESSION_BUS_ADDRESS", {});
  ASSERT_EQ(openKeyring(), KeyringState::open);
  std::vector<std::string> spoil{"chmod 720 ", "chmod 702 "};
  if (::geteuid() == 0) spoil.emplace_back("chown 65534 ");  // only root can give a folder away
  for (const std::string& command : spoil) {
    EXPECT_EQ(test::shell(command + around.path("run")).status, 0);
    EXPECT_EQ(seenOf("alice"), Seen(KeyringState::notHere, all(errSecNotAvailable))) << command;
    EXPECT_EQ(test::shell("chmod 700 " + around.path("run")).status, 0);
  }
  around.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + around.path("nothing"));
  EXPECT_EQ(openKeyring(), KeyringState::noAnswer) << "though there is a connection to another bus";
}

TEST_F(SecretService, MayStopForAWhileAsMayTheBus) {
  around.set("DBUS_SESSION_BUS_ADDRESS", {});
  ASSERT_EQ(add("alice"), errSecSuccess) << "on the bus in the runtime folder";
  const OwnThreads threads;
  for (const bool isBus : {false, true}) {
    Companion& stopped = isBus ? around.bus() : around.keyring();
    stopped.signal(SIGSTOP);
    EXPECT_EQ(seenOf("alice"), Seen(KeyringState::noAnswer, all(errSecNotAvailable))) << isBus;
    EXPECT_TRUE(threads.haveEnded()) << "one still waits for " << (isBus ? "the bus" : "the daemon");
    stopped.signal(SIGCONT);
    EXPECT_EQ(find("alice"), errSecSuccess) << isBus;
    EXPECT_EQ(find("new"), errSecItemNotFound) << isBus;
  }
}

TEST_F(SecretService, MayDieAsMayTheBus) {
  ASSERT_EQ(add("alice"), errSecSuccess);
  around.keyring().signal(SIGKILL);
  EXPECT_EQ(answersFor("alice"), all(errSecNotAvailable));
  around.startKeyring();
  EXPECT_EQ(find("alice"), errSecSuccess);
  around.bus().signal(SIGKILL);
  EXPECT_EQ(seenOf("alice"), Seen(KeyringState::noAnswer, all(errSecNotAvailable)));
}

TEST_F(SecretService, LetsReadWhileAnotherWriterHangs) {
  ASSERT_EQ(add("alice"), errSecSuccess);
  const OwnThreads threads;
  {
    const Companion writer(
        "exec /usr/bin/python3 -c 'import os, signal; from gi.repository import Gio, GLib\n"
        "bus = Gio.bus_get_sync(Gio.BusType.SESSION); name = \"org.freedesktop.DBus\"\n"
        "bus.call_sync(name, \"/\", name, \"RequestName\", GLib.Variant(\"(su)\","
        "(\"org.quelto.suite.KeychainWriter\", 0)), None, 0, -1); os.write(3, b\"\\n\"); signal.pause()' "
        ">/dev/null 2>&1",
        Companion::Speech::announces);
    EXPECT_EQ(answersFor("alice"),
              (Answers{errSecSuccess, errSecNotAvailable, errSecNotAvailable, errSecNotAvailable}));
    EXPECT_TRUE(threads.haveEnded()) << "one still waits for its turn";
  }
  EXPECT_EQ(find("alice"), errSecSuccess);
  EXPECT_EQ(add("new"), errSecSuccess);
}

TEST_F(SecretService, StaysUntouchedWhileLocked) {
  ASSERT_EQ(add("alice"), errSecSuccess);
  around.lockCollection();
  const Seen locked(KeyringState::notHere, all(errSecInteractionNotAllowed));
  EXPECT_EQ(seenOf("alice"), locked) << "locked again";
  EXPECT_EQ(seenOf("bob"), locked) << "not even known to be missing";
  around.startKeyring(Collection::asItIs);
  EXPECT_EQ(seenOf("alice"), locked) << "never been open";
  around.set("DISPLAY", ":987");
  EXPECT_EQ(seenOf("alice"), Seen(KeyringState::leftLocked, locked.second)) << "nobody shows the dialog";
  around.startKeyring();
  EXPECT_EQ(find("alice"), errSecSuccess);
  EXPECT_EQ(find("new"), errSecItemNotFound);
}

TEST_F(SecretServiceBus, MayHaveAKeyringWithoutACollection) {
  KeyringSurroundings around;
  around.startKeyring(Collection::asItIs);
  EXPECT_EQ(seenOf("alice"), Seen(KeyringState::notHere, all(errSecNotAvailable)))
      << "what was kept may have gone with its collection";
  // In the form that gnome-keyring keeps without encryption.
  std::ofstream(around.path("home/.local/share/keyrings/other.keyring")) << "[keyring]\ndisplay-name=other\n";
  around.startKeyring(Collection::asItIs);
  const Answers answers{errSecItemNotFound, errSecNotAvailable, errSecItemNotFound, errSecItemNotFound};
  EXPECT_EQ(seenOf("alice"), Seen(KeyringState::notHere, answers))
      << "another collection, which is not the default";
  around.startKeyring();
  const auto inMemory = test::shell(
      "gdbus call --session --dest org.freedesktop.secrets --object-path /org/freedesktop/secrets --method "
      "org.freedesktop.Secret.Service.SetAlias default /org/freedesktop/secrets/collection/session");
  ASSERT_EQ(inMemory.status, 0) << inMemory.text;
  EXPECT_EQ(seenOf("alice"), Seen(KeyringState::notHere, answers))
      << "a collection that ends with the daemon";
}

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
  const struct {
    const char* answers;
    OSStatus status;
    Keys kept;
  } rows[] = {
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
  for (const auto& row : rows) {
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
