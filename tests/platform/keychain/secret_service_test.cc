#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <optional>
#include <sstream>
#include <vector>

#include "platform/keychain/secret_service/secret_service_keychain.h"
#include "platform/module.h"
#include "platform/unique_fd.h"
#include "tests/platform/keychain/item_store_contract.h"
#include "tests/platform/keychain/keyring_surroundings.h"
#include "tests/platform/keychain/process_surroundings.h"

namespace quelto::platform::keychain {
namespace {

using test::Captured;
using test::KeyringSurroundings;
using test::LittleLockedMemory;
using test::OwnThreads;
using test::shell;
using Collection = KeyringSurroundings::Collection;
using State = SecretServiceState;
using Want = ItemStore::Want;

constexpr const char* moduleFile = "libquelto_secret_service.so";

ItemStore& store() {
  static auto* const instance = moduleService<ItemStore>(moduleFile, "queltoOpenSecretService");
  if (instance == nullptr) throw std::runtime_error("the module cannot be opened");
  return *instance;
}

State state() {
  void* const entry = moduleEntry(moduleFile, "queltoSecretServiceState");
  return reinterpret_cast<State (*)()>(entry)();
}

const std::vector<std::string> identity{"account", "service", "generic", "type"};

Attributes attributesOf(const std::string& account) { return {{"service", "svn"}, {"account", account}}; }
ItemMatch matchOf(Attributes attributes) {
  return {.itemClass = ItemClass::genericPassword, .attributes = std::move(attributes)};
}
OSStatus add(Attributes attributes, const std::string& secret = "s3cret") {
  return store().add({.itemClass = ItemClass::genericPassword,
                      .attributes = std::move(attributes),
                      .secret = Secret(secret)},
                     identity);
}
OSStatus find(const Attributes& attributes, Item& found) {
  return store().find(matchOf(attributes), Want::attributesAndSecret, found);
}
OSStatus find(const Attributes& attributes) {
  Item found;
  return find(attributes, found);
}
std::string secretOf(const Attributes& attributes) {
  Item found;
  const OSStatus status = find(attributes, found);
  return status == errSecSuccess ? std::string(found.secret.view()) : "status " + std::to_string(status);
}

/// In the place of an answer that took longer than a call may take.
constexpr OSStatus tooLate = 1;

template <typename Call>
OSStatus timed(const Call& call) {
  const auto begin = std::chrono::steady_clock::now();
  const OSStatus status = call();
  return std::chrono::steady_clock::now() - begin < std::chrono::seconds(4) ? status : tooLate;
}

/// What finding, adding (the account "new"), updating and removing answer, all asked at once: no call waits
/// for another one that hangs.
using Answers = std::array<OSStatus, 4>;
constexpr Answers all(OSStatus status) { return {status, status, status, status}; }

Answers answersFor(const std::string& account) {
  const auto inThread = [](auto call) {
    return std::async(std::launch::async, [call] { return timed(call); });
  };
  const ItemMatch match = matchOf(attributesOf(account));
  auto found = inThread([=] { return find(attributesOf(account)); });
  auto added = inThread([] { return add(attributesOf("new")); });
  auto updated = inThread([=] { return store().updateSecret(match, HowMany::all, Secret("changed")); });
  auto removed = inThread([=] { return store().remove(match, HowMany::all); });
  return {found.get(), added.get(), updated.get(), removed.get()};
}

/// Every test sees to it that nothing reaches standard error, however much the libraries are told to say.
class SecretService : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("G_MESSAGES_DEBUG", "all", 1);
    ::setenv("G_DBUS_DEBUG", "all", 1);
    standardError_.emplace(STDERR_FILENO);
  }
  void TearDown() override {
    const std::string text = standardError_->text();
    standardError_.reset();
    EXPECT_EQ(text, "");
  }

 private:
  std::optional<Captured> standardError_;
};

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

TEST_F(SecretService, IsReadableToOtherPrograms) {
  KeyringSurroundings around;
  around.startKeyring();
  Attributes attributes = attributesOf("alice");
  attributes.insert(
      {{"label", "svn+ssh://host: Zoë"}, {"generic", std::string("a\0b", 3)}, {"comment", "two\nlines"}});
  ASSERT_EQ(add(attributes, "geheim ü"), errSecSuccess);
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
    ASSERT_EQ(add({{"account", value}, {"label", value}}, value), errSecSuccess) << value;
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
  const UniqueFd silent(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
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

TEST_F(SecretService, GoesByTheEnvironmentButNotToSomebodyElsesBus) {
  KeyringSurroundings around;
  around.startKeyring();
  around.set("DBUS_SESSION_BUS_ADDRESS", {});
  EXPECT_EQ(state(), State::present);
  around.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + around.path("nothing"));
  EXPECT_EQ(state(), State::unreachable) << "though there is a connection to another bus";
  around.set("DBUS_SESSION_BUS_ADDRESS", {});
  if (::geteuid() != 0) return;  // only root can give a file away
  ASSERT_EQ(::chown(around.path("run/bus").c_str(), 65534, static_cast<gid_t>(-1)), 0);
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
  EXPECT_EQ(answersFor("alice"),
            (Answers{errSecItemNotFound, errSecNotAvailable, errSecItemNotFound, errSecItemNotFound}));
}

class RealKeyring final : public test::StoreUnderTest {
 public:
  RealKeyring() { around_.startKeyring(); }
  [[nodiscard]] ItemStore& store() override { return keychain::store(); }

 private:
  KeyringSurroundings around_;
};

constexpr const char* seekDialog = "xdotool search --onlyvisible --class gcr-prompter";
bool isDialogUp() { return shell(seekDialog).status == 0; }
bool dialogAppears() {
  return shell(std::string("sh -c 'until ") + seekDialog + "; do :; done'").status == 0;
}
/// Its status says nothing: it fails when a key closes the dialog.
void typeIntoDialog(const std::string& keys) { (void)shell(seekDialog + (" windowfocus " + keys)); }
bool dialogDisappears() {
  return shell(std::string("sh -c 'while ") + seekDialog + "; do :; done'").status == 0;
}

TEST_F(SecretService, IsOpenedByThePerson) {
  KeyringSurroundings around({.display = true, .activation = false});
  around.startKeyring();
  Attributes attributes = attributesOf("alice");
  attributes.insert({"label", "a label"});
  ASSERT_EQ(add(attributes), errSecSuccess);
  around.startKeyring(Collection::asItIs);
  const std::string display = std::getenv("DISPLAY");
  around.set("DISPLAY", {});
  EXPECT_EQ(answersFor("alice"), all(errSecInteractionNotAllowed));
  around.set("DISPLAY", display);
  EXPECT_FALSE(isDialogUp()) << "on somebody else's screen";

  const auto answerTo = [](
                            const std::string& keys,
                            OSStatus (*call)() = [] { return find(attributesOf("alice")); }) {
    auto answer = std::async(std::launch::async, [call] { return timed(call); });
    EXPECT_TRUE(dialogAppears());
    typeIntoDialog(keys);
    return answer.get();
  };
  EXPECT_EQ(answerTo("key Escape"), errSecInteractionNotAllowed);
  EXPECT_TRUE(dialogDisappears());
  EXPECT_EQ(answerTo("type test", [] { return add(attributesOf("late")); }), errSecInteractionNotAllowed)
      << "without the last key";
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(answersFor("alice"), all(errSecInteractionNotAllowed));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2))
      << "nobody waits for the dialog";
  typeIntoDialog("key Return");
  Item found;
  const auto deadline = begin + std::chrono::seconds(10);
  while (find(attributesOf("alice"), found) == errSecInteractionNotAllowed &&
         std::chrono::steady_clock::now() < deadline)
    continue;
  EXPECT_EQ(found.attributes, attributes);
  EXPECT_EQ(found.secret.view(), "s3cret");
  EXPECT_TRUE(dialogDisappears());
  EXPECT_EQ(find(attributesOf("late")), errSecItemNotFound) << "added after its call had ended";

  around.startKeyring(Collection::asItIs);
  EXPECT_EQ(answerTo("key t e s t Return"), errSecSuccess);
}

}  // namespace
}  // namespace quelto::platform::keychain

namespace quelto::test {

INSTANTIATE_TEST_SUITE_P(SecretService, ItemStoreContract,
                         testing::Values(StoreKind{
                             "SecretService",
                             [] { return std::make_unique<platform::keychain::RealKeyring>(); }}),
                         testing::PrintToStringParamName());

}  // namespace quelto::test
