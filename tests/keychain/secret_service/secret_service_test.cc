#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <optional>
#include <sstream>
#include <vector>

#include "platform/files/unique_fd.h"
#include "tests/keychain/item_store_contract.h"
#include "tests/keychain/secret_service/secret_service_calls.h"
#include "tests/support/keyring_surroundings.h"
#include "tests/support/process_surroundings.h"

namespace quelto::keychain {
namespace {

using test::Captured;
using test::isInMemory;
using test::KeyringSurroundings;
using test::LittleLockedMemory;
using test::OwnThreads;
using test::secretFrom;
using test::shell;
using Collection = KeyringSurroundings::Collection;
using State = SecretServiceState;
using Want = ItemStore::Want;

bool isGLibLoaded() {
  const std::string maps = (std::stringstream() << std::ifstream("/proc/self/maps").rdbuf()).str();
  return maps.find("libglib") != std::string::npos;
}

// The first test, since it is about the first use.
TEST_F(SecretService, TouchesNeitherSignalsNorStreamsOfTheProcess) {
  EXPECT_FALSE(isGLibLoaded()) << "only the module brings it";
  KeyringSurroundings around;
  around.startKeyring();
  ::signal(SIGPIPE, SIG_DFL);
  std::string printed;
  {
    const LittleLockedMemory little;
    const Captured standardOutput(STDOUT_FILENO);
    EXPECT_EQ(add(attributesOf("alice")), errSecSuccess);
    EXPECT_EQ(secretOf(attributesOf("alice")), "s3cret");
    printed = standardOutput.text();
  }
  EXPECT_EQ(printed, "");
  EXPECT_TRUE(isGLibLoaded());
  EXPECT_EQ(::signal(SIGPIPE, SIG_DFL), SIG_DFL);
}

TEST_F(SecretService, LeavesNoSecretInFreedMemoryWhereNoneCanBeLocked) {
  KeyringSurroundings around;
  around.startKeyring();
  const LittleLockedMemory little;
  constexpr const char* inversePart = "inverted, this is a part of the secret";
  // So long that parts of it outlast what is written into freed memory.
  std::string inverse;
  while (inverse.size() < 10000) inverse += inversePart;
  ASSERT_EQ(add(attributesOf("alice"), secretFrom(inverse)), errSecSuccess);
  {
    Item found;
    ASSERT_EQ(find(attributesOf("alice"), found), errSecSuccess);
    EXPECT_TRUE(isInMemory(inversePart)) << "while it is in our hands";
  }
  EXPECT_FALSE(isInMemory(inversePart));
}

TEST_F(SecretService, IsReadableToOtherPrograms) {
  KeyringSurroundings around;
  around.startKeyring();
  Attributes attributes = attributesOf("alice");
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
  KeyringSurroundings around;
  around.startKeyring();
  const std::string attributes = " class org.quelto.key tag data:,%61 xdg:other 1";
  ASSERT_EQ(shell("sh -c \"echo x | secret-tool store --label=data:,b" + attributes + "\"").status, 0);
  ASSERT_EQ(shell("sh -c \"echo x | secret-tool store --label=L class key tag data:,%61\"").status, 0);
  Item found;
  ASSERT_EQ(store().find({.itemClass = ItemClass::key, .attributes = {}}, Want::attributes, found),
            errSecSuccess);
  EXPECT_EQ(found.attributes, (Attributes{{"tag", "data:,%61"}, {"label", "data:,b"}}));
}

TEST_F(SecretService, KeepsWhatNoTextCanHold) {
  KeyringSurroundings around;
  around.startKeyring();
  const std::string values[] = {"Zoë <a&b> %41", "",           std::string("a\0b", 3), "data:,a%00b",
                                "data:,",        "data:,a%zz", "\xff\xed\xa0\x80",     "\r\n\t\x1b\x7f"};
  ASSERT_EQ(add({{"service", "neither account nor label"}}), errSecSuccess);
  for (const std::string& value : values)
    ASSERT_EQ(add({{"account", value}, {"label", value}}, platform::Secret(value)), errSecSuccess) << value;
  for (const char* when : {"at once", "after a restart"}) {
    for (const std::string& value : values) {
      for (const char* by : {"account", "label"}) {
        Item found;
        EXPECT_EQ(find({{by, value}}, found), errSecSuccess) << value << " by " << by << when;
        EXPECT_EQ(found.attributes, (Attributes{{"account", value}, {"label", value}})) << when;
        EXPECT_EQ(found.secret.view(), value) << value << " by " << by << when;
      }
    }
    around.startKeyring();
  }
}

TEST_F(SecretService, TakesTheOldestFirstAlsoWithinOneSecond) {
  KeyringSurroundings around;
  around.startKeyring();
  // More than ten, so that numbers of one and of two digits are compared.
  std::vector<std::string> accounts;
  for (char letter = 'l'; letter >= 'a'; --letter) accounts.emplace_back(1, letter);
  for (const std::string& account : accounts) ASSERT_EQ(add(attributesOf(account)), errSecSuccess);
  around.startKeyring();
  const ItemMatch any = matchOf({{"service", "svn"}});
  for (const std::string& account : accounts) {
    Item found;
    ASSERT_EQ(store().find(any, Want::attributes, found), errSecSuccess);
    EXPECT_EQ(found.attributes, attributesOf(account));
    EXPECT_EQ(found.secret.size(), 0U);
    ASSERT_EQ(store().remove(any, HowMany::first), errSecSuccess);
  }
  EXPECT_EQ(store().remove(any, HowMany::first), errSecItemNotFound);
}

/// Tells this program that it is one of the processes of the test below.
constexpr const char* isOneOfMany = "QUELTO_TEST_IS_ONE_OF_MANY";

TEST_F(SecretService, AddsAnItemOnceHoweverManyAddItAtOnce) {
  if (std::getenv(isOneOfMany) != nullptr) {
    const OSStatus status = add(attributesOf("bob"));
    ::_exit(status == errSecSuccess ? 2 : status == errSecDuplicateItem ? 3 : 4);
  }
  KeyringSurroundings around;
  around.startKeyring();
  around.set(isOneOfMany, "1");
  std::vector<std::future<OSStatus>> same;
  std::vector<std::future<OSStatus>> different;
  std::vector<std::future<int>> processes;
  const std::string oneOfMany = std::filesystem::read_symlink("/proc/self/exe").string() +
                                " --gtest_filter=SecretService.AddsAnItemOnceHoweverManyAddItAtOnce";
  for (int index = 0; index < 8; ++index) {
    same.push_back(std::async(std::launch::async, [] { return add(attributesOf("alice")); }));
    different.push_back(
        std::async(std::launch::async, [index] { return add(attributesOf(std::to_string(index))); }));
    processes.push_back(std::async(std::launch::async, [&] { return WEXITSTATUS(shell(oneOfMany).status); }));
  }
  std::map<OSStatus, int> statuses;
  for (auto& status : same) ++statuses[status.get()];
  EXPECT_EQ(statuses, (std::map<OSStatus, int>{{errSecSuccess, 1}, {errSecDuplicateItem, 7}}));
  for (auto& status : different) EXPECT_EQ(status.get(), errSecSuccess);
  std::map<int, int> exits;
  for (auto& status : processes) ++exits[status.get()];
  EXPECT_EQ(exits, (std::map<int, int>{{2, 1}, {3, 7}}));
}

TEST_F(SecretService, FindsWhatStaysWhileOthersComeAndGo) {
  KeyringSurroundings around;
  around.startKeyring();
  for (int index = 0; index < 20; ++index) ASSERT_EQ(add(attributesOf(std::to_string(index))), errSecSuccess);
  ASSERT_EQ(add(attributesOf("alice")), errSecSuccess);
  auto others = std::async(std::launch::async, [] {
    OSStatus status = errSecSuccess;
    for (int index = 0; index < 20 && status == errSecSuccess; ++index)
      status = store().remove(matchOf(attributesOf(std::to_string(index))), HowMany::all);
    return status;
  });
  while (others.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
    EXPECT_EQ(find({{"service", "svn"}}), errSecSuccess);
  EXPECT_EQ(others.get(), errSecSuccess);
  EXPECT_EQ(secretOf({{"service", "svn"}}), "s3cret");
}

TEST_F(SecretService, IsNotAvailableWithoutABusThatHasIt) {
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
  struct Row {
    const char* name;
    std::optional<std::string> address;
    State state;
  };
  const Row rows[] = {{"a bus without the service", std::getenv("DBUS_SESSION_BUS_ADDRESS"), State::absent},
                      {"no bus", {}, State::absent},
                      {"a bus to be launched", "autolaunch:", State::absent},
                      {"a dead address", "unix:path=" + around.path("nothing"), State::unreachable},
                      {"no address", "disabled:", State::unreachable},
                      {"a bus that never answers", "unix:path=" + around.path("silent"), State::unreachable}};
  for (const Row& row : rows) {
    around.set("DBUS_SESSION_BUS_ADDRESS", row.address);
    // Where a bus is when nothing says so.
    if (!row.address) std::filesystem::remove(around.path("run/bus"));
    EXPECT_EQ(state(), row.state) << row.name;
    EXPECT_EQ(answersFor("alice"), all(errSecNotAvailable)) << row.name;
  }
  EXPECT_FALSE(std::filesystem::exists(around.path("launched")));
  EXPECT_TRUE(threads.haveEnded()) << "one still waits for the bus that never answers";
}

TEST_F(SecretService, GoesByTheEnvironment) {
  KeyringSurroundings around;
  around.startKeyring();
  around.set("DBUS_SESSION_BUS_ADDRESS", {});
  EXPECT_EQ(state(), State::present);
  around.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + around.path("nothing"));
  EXPECT_EQ(state(), State::unreachable) << "though there is a connection to another bus";
}

TEST_F(SecretService, TakesNoBusWhereOthersCanPutOne) {
  KeyringSurroundings around;
  around.startKeyring();
  around.set("DBUS_SESSION_BUS_ADDRESS", {});
  ASSERT_EQ(state(), State::present);
  for (const auto others : {std::filesystem::perms::group_write, std::filesystem::perms::others_write}) {
    std::filesystem::permissions(around.path("run"), std::filesystem::perms::owner_all | others);
    EXPECT_EQ(state(), State::absent) << static_cast<unsigned>(others);
    EXPECT_EQ(answersFor("alice"), all(errSecNotAvailable)) << static_cast<unsigned>(others);
  }
}

TEST_F(SecretService, TakesNoBusInSomebodyElsesFolder) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  KeyringSurroundings around;
  around.startKeyring();
  around.set("DBUS_SESSION_BUS_ADDRESS", {});
  ASSERT_EQ(::chown(around.path("run").c_str(), 65534, static_cast<gid_t>(-1)), 0);
  EXPECT_EQ(state(), State::absent);
  EXPECT_EQ(answersFor("alice"), all(errSecNotAvailable));
}

TEST_F(SecretService, ComesBackFromWhatHasStopped) {
  KeyringSurroundings around;
  around.startKeyring();
  around.set("DBUS_SESSION_BUS_ADDRESS", {});
  ASSERT_EQ(add(attributesOf("alice")), errSecSuccess) << "on the bus in the runtime folder";
  const OwnThreads threads;
  struct Row {
    const char* name;
    test::Companion& stopped;
    State state;
  };
  for (const Row& row : {Row{"the daemon", around.keyring(), State::present},
                         Row{"the bus", around.bus(), State::unreachable}}) {
    row.stopped.signal(SIGSTOP);
    EXPECT_EQ(state(), row.state) << row.name;
    EXPECT_EQ(answersFor("alice"), all(errSecNotAvailable)) << row.name;
    EXPECT_TRUE(threads.haveEnded()) << "one still waits for " << row.name;
    row.stopped.signal(SIGCONT);
    EXPECT_EQ(secretOf(attributesOf("alice")), "s3cret") << row.name;
    EXPECT_EQ(find(attributesOf("new")), errSecItemNotFound) << row.name;
  }
}

TEST_F(SecretService, ReadsWhileAnotherWriterHangs) {
  KeyringSurroundings around;
  around.startKeyring();
  ASSERT_EQ(add(attributesOf("alice")), errSecSuccess);
  const OwnThreads threads;
  {
    const test::Companion writer(
        "exec /usr/bin/python3 -c 'import os, signal; from gi.repository import Gio, GLib\n"
        "bus = Gio.bus_get_sync(Gio.BusType.SESSION); name = \"org.freedesktop.DBus\"\n"
        "bus.call_sync(name, \"/\", name, \"RequestName\", GLib.Variant(\"(su)\","
        "(\"org.quelto.suite.KeychainWriter\", 0)), None, 0, -1); os.write(3, b\"\\n\"); signal.pause()' "
        ">/dev/null 2>&1",
        test::Companion::Speech::announces);
    EXPECT_EQ(answersFor("alice"),
              (Answers{errSecSuccess, errSecNotAvailable, errSecNotAvailable, errSecNotAvailable}));
    EXPECT_TRUE(threads.haveEnded()) << "one still waits for its turn";
  }
  EXPECT_EQ(secretOf(attributesOf("alice")), "s3cret");
  EXPECT_EQ(add(attributesOf("new")), errSecSuccess);
}

TEST_F(SecretService, SurvivesTheDaemonsDeath) {
  KeyringSurroundings around;
  around.startKeyring();
  ASSERT_EQ(add(attributesOf("alice")), errSecSuccess);
  around.keyring().signal(SIGKILL);
  EXPECT_EQ(answersFor("alice"), all(errSecNotAvailable));
  around.startKeyring();
  EXPECT_EQ(secretOf(attributesOf("alice")), "s3cret");
  around.bus().signal(SIGKILL);
  EXPECT_EQ(answersFor("alice"), all(errSecNotAvailable));
  EXPECT_EQ(state(), State::unreachable);
}

TEST_F(SecretService, IsLockedInADaemonThatTheBusStartsAnew) {
  KeyringSurroundings around({.display = false, .activation = true});
  around.startKeyring();
  ASSERT_EQ(add(attributesOf("alice")), errSecSuccess);
  around.stopKeyring();
  EXPECT_EQ(state(), State::present);
  EXPECT_EQ(answersFor("alice"), all(errSecInteractionNotAllowed));
}

TEST_F(SecretService, StaysUntouchedWhileLocked) {
  KeyringSurroundings around;
  around.startKeyring();
  ASSERT_EQ(add(attributesOf("alice")), errSecSuccess);
  around.lockCollection();
  EXPECT_EQ(state(), State::present);
  EXPECT_EQ(answersFor("alice"), all(errSecInteractionNotAllowed)) << "locked again";
  EXPECT_EQ(answersFor("bob"), all(errSecInteractionNotAllowed)) << "not even known to be missing";
  around.startKeyring(Collection::asItIs);
  EXPECT_EQ(answersFor("alice"), all(errSecInteractionNotAllowed)) << "never been open";
  around.set("DISPLAY", ":987");
  EXPECT_EQ(answersFor("alice"), all(errSecInteractionNotAllowed)) << "nobody to show a dialog";
  around.startKeyring();
  EXPECT_EQ(secretOf(attributesOf("alice")), "s3cret");
  EXPECT_EQ(find(attributesOf("new")), errSecItemNotFound);
}

TEST_F(SecretService, MakesNoCollection) {
  KeyringSurroundings around;
  around.startKeyring(Collection::asItIs);
  EXPECT_EQ(answersFor("alice"), all(errSecNotAvailable))
      << "what was kept may have gone with its collection";
  // In the form that gnome-keyring keeps without encryption.
  std::ofstream(around.path("home/.local/share/keyrings/other.keyring")) << "[keyring]\ndisplay-name=other\n";
  around.startKeyring(Collection::asItIs);
  EXPECT_EQ(answersFor("alice"),
            (Answers{errSecItemNotFound, errSecNotAvailable, errSecItemNotFound, errSecItemNotFound}))
      << "another collection, which is not the default";
}

class RealKeyring final : public test::StoreUnderTest {
 public:
  RealKeyring() { around_.startKeyring(); }
  [[nodiscard]] ItemStore& store() override { return keychain::store(); }

 private:
  KeyringSurroundings around_;
};

}  // namespace
}  // namespace quelto::keychain

namespace quelto::test {

INSTANTIATE_TEST_SUITE_P(SecretService, ItemStoreContract,
                         testing::Values(StoreKind{"SecretService",
                                                   [] { return std::make_unique<keychain::RealKeyring>(); }}),
                         testing::PrintToStringParamName());

}  // namespace quelto::test
