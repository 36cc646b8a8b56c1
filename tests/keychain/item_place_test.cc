#include "keychain/item_place.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "keychain/sec_item.h"
#include "tests/support/sessions.h"

namespace quelto::keychain {
namespace {

using test::Session;
using test::User;

const SecDictionary::Entry generic{kSecClass, kSecClassGenericPassword};
const SecDictionary::Entry one{kSecMatchLimit, kSecMatchLimitOne};

SecData asData(std::string_view bytes) { return std::make_shared<const platform::Secret>(bytes); }

OSStatus add(SecDictionary attributes, std::string_view secret = "s3cret") {
  attributes.set(kSecValueData, asData(secret));
  return SecItemAdd(attributes);
}

/// The secret of the first match, or its status.
std::string storedSecret() {
  std::optional<SecValue> result;
  const OSStatus status = SecItemCopyMatching({generic, {kSecReturnData, kCFBooleanTrue}}, &result);
  if (status != errSecSuccess) return std::to_string(status);
  return std::string(std::get<SecData>(*result)->view());
}

std::string contentOf(const std::string& path) {
  return (std::stringstream() << std::ifstream(path).rdbuf()).str();
}

std::string placeOf(const User& user) { return contentOf(user.data("keychain-place")); }

/// Finding, updating and deleting an item.
void expectOfStored(OSStatus status, const char* name) {
  SCOPED_TRACE(name);
  EXPECT_EQ(SecItemCopyMatching({generic}, nullptr), status);
  EXPECT_EQ(SecItemUpdate({generic, one}, {{kSecValueData, asData("x")}}), status);
  EXPECT_EQ(SecItemDelete({generic, one}), status);
}

/// The same, and adding one.
void expectOfEach(OSStatus status, const char* name) {
  expectOfStored(status, name);
  EXPECT_EQ(add({generic}), status) << name;
}

// The first test, since it is about what is loaded.
TEST(ItemPlace, IsNotEvenLookedForBeforeAnythingWasSaved) {
  User user(Session::desktop);
  user.around().lockCollection();
  expectOfStored(errSecItemNotFound, "a locked keyring");
  EXPECT_EQ(contentOf("/proc/self/maps").find("libquelto_"), std::string::npos) << "no module is needed";
  EXPECT_FALSE(std::filesystem::exists(user.data()));
}

TEST(ItemPlace, StaysWhereTheFirstItemWent) {
  User atDesk(Session::desktop);
  ASSERT_EQ(add({generic}, "at the desk"), errSecSuccess);
  atDesk.enter(Session::server);
  expectOfEach(errSecNotAvailable, "the keyring is out of reach");
  EXPECT_FALSE(std::filesystem::exists(atDesk.data("keychain.sqlite")));
  atDesk.enter(Session::desktop);
  atDesk.around().stopKeyring();
  expectOfEach(errSecNotAvailable, "no keyring on the bus");
  atDesk.around().startKeyring();
  EXPECT_EQ(storedSecret(), "at the desk");
  atDesk.around().lockCollection();
  expectOfEach(errSecInteractionNotAllowed, "locked, and nobody to ask");
}

TEST(ItemPlace, StaysInTheEmbeddedKeychain) {
  User user(Session::server);
  ASSERT_EQ(add({generic}, "on the server"), errSecSuccess);
  user.enter(Session::desktop);
  EXPECT_EQ(storedSecret(), "on the server");
  struct stat status {};
  ASSERT_EQ(::stat(user.data().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
  ASSERT_EQ(::stat(user.data("keychain-place").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(ItemPlace, IsTheEmbeddedKeychainWhereNobodyCanOpenTheKeyring) {
  using Collection = test::KeyringSurroundings::Collection;
  const struct {
    const char* name;
    std::function<void(User&)> close;
  } rows[] = {
      {"locked", [](User& user) { user.around().lockCollection(); }},
      {"no collection",
       [](User& user) {
         user.around().stopKeyring();
         std::filesystem::remove_all(user.around().path("home/.local/share/keyrings"));
         user.around().startKeyring(Collection::asItIs);
       }},
      {"no keyring", [](User& user) { user.around().stopKeyring(); }},
  };
  for (const auto& row : rows) {
    User user(Session::desktop);
    row.close(user);
    EXPECT_EQ(add({generic}, row.name), errSecSuccess) << row.name;
    EXPECT_EQ(placeOf(user), "embedded\n") << row.name;
    EXPECT_EQ(storedSecret(), row.name);
  }
}

/// As on a disk that is full once so many bytes are written.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    ::signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit { .rlim_cur = bytes, .rlim_max = before_.rlim_max };
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &before_); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  struct rlimit before_ {};
};

TEST(ItemPlace, KeepsNothingThatItCannotSettleFor) {
  for (const Session session : test::allSessions) {
    User user(session);
    {
      const FileSizeLimit nothing(0);
      EXPECT_EQ(add({generic}), errSecIO) << session;
    }
    EXPECT_EQ(storedSecret(), std::to_string(errSecItemNotFound)) << session;
    EXPECT_EQ(add({generic}), errSecSuccess) << session << ": not a duplicate";
  }
}

TEST(ItemPlace, StaysSettledWhenTheFirstItemIsNotKept) {
  // Another process may have relied on the record by then.
  const User user(Session::server);
  {
    const FileSizeLimit recordOnly(100);
    EXPECT_EQ(add({generic}), errSecIO);
  }
  EXPECT_EQ(placeOf(user), "embedded\n");
  EXPECT_EQ(add({generic}), errSecSuccess);
}

TEST(ItemPlace, IsOneForProcessesThatSettleItAtOnce) {
  for (int round = 0; round < 10; ++round) {
    User user(Session::desktop);
    const auto addIn = [&user](Session session) {
      const pid_t id = ::fork();
      if (id != 0) return id;
      user.enter(session);
      ::_exit(add({generic, {kSecAttrAccount, testing::PrintToString(session)}}) == errSecSuccess ? 0 : 1);
    };
    const pid_t children[] = {addIn(Session::server), addIn(Session::desktop)};
    int added = 0;
    for (const pid_t id : children) {
      int status = -1;
      ASSERT_EQ(::waitpid(id, &status, 0), id);
      added += status == 0 ? 1 : 0;
    }
    EXPECT_GE(added, 1);
    const auto inKeyring = test::shell("secret-tool search --all class org.quelto.genericPassword");
    EXPECT_EQ(inKeyring.text.empty(), std::filesystem::exists(user.data("keychain.sqlite")))
        << "items in one place alone";
  }
}

TEST(ItemPlace, IsNotSettledForAKeyringThatMayBeThereAndDoesNotAnswer) {
  User user(Session::desktop);
  user.around().set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere/at/all");
  EXPECT_EQ(add({generic}), errSecNotAvailable);
  EXPECT_FALSE(std::filesystem::exists(user.data()));
}

TEST(ItemPlace, DistrustsWhatOthersMayHaveWritten) {
  const struct {
    const char* name;
    std::function<void(const User&)> spoil;
  } rows[] = {
      {"a record of nothing",
       [](const User& user) { std::ofstream(user.data("keychain-place")) << "elsewhere\n"; }},
      {"an empty record", [](const User& user) { std::ofstream(user.data("keychain-place")) << ""; }},
      {"a record that all may write",
       [](const User& user) { ::chmod(user.data("keychain-place").c_str(), 0666); }},
      {"a folder that all may enter", [](const User& user) { ::chmod(user.data().c_str(), 0755); }},
      {"a link in the record's place",
       [](const User& user) {
         std::filesystem::rename(user.data("keychain-place"), user.data("moved"));
         std::filesystem::create_symlink("moved", user.data("keychain-place"));
       }},
  };
  for (const auto& row : rows) {
    User user(Session::server);
    ASSERT_EQ(add({generic}), errSecSuccess);
    row.spoil(user);
    expectOfEach(errSecNotAvailable, row.name);
  }
}

}  // namespace
}  // namespace quelto::keychain
