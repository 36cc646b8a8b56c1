#include "keychain/sec_item.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "tests/support/sessions.h"

namespace quelto::keychain {
namespace {

using test::Session;
using test::User;
using Entry = SecDictionary::Entry;

SecData data(std::string_view bytes) { return std::make_shared<const platform::Secret>(bytes); }

const Entry generic{kSecClass, kSecClassGenericPassword};
const Entry internet{kSecClass, kSecClassInternetPassword};

OSStatus add(SecDictionary attributes, std::string_view secret = "s3cret") {
  attributes.set(kSecValueData, data(secret));
  return SecItemAdd(attributes);
}

/// The secret of the first match, or its status.
std::string secretOf(SecDictionary query) {
  query.set(kSecReturnData, kCFBooleanTrue);
  std::optional<SecValue> result;
  const OSStatus status = SecItemCopyMatching(query, &result);
  if (status != errSecSuccess) return std::to_string(status);
  return std::string(std::get<SecData>(*result)->view());
}

TEST(SecItemDictionaries, MalformedOnesAreRefused) {
  const Entry someData{kSecValueData, data("x")};
  const SecDictionary good{generic, {kSecAttrAccount, std::string("a")}};
  const struct {
    const char* name;
    std::function<OSStatus()> call;
  } rows[] = {
      {"a query without a class",
       [] {
         return SecItemDelete({{kSecAttrAccount, std::string("a")}});
       }},
      {"a class that is none",
       [] {
         return SecItemDelete({{kSecClass, kSecMatchLimitOne}});
       }},
      {"an unknown key",
       [] {
         return SecItemDelete({generic, {"colour", std::string("red")}});
       }},
      {"an attribute of another class",
       [] {
         return SecItemDelete({generic, {kSecAttrServer, std::string("a")}});
       }},
      {"a number for a text",
       [] {
         return SecItemDelete({generic, {kSecAttrAccount, std::int64_t{1}}});
       }},
      {"a text for a number",
       [] {
         return SecItemDelete({internet, {kSecAttrPort, std::string("22")}});
       }},
      {"another limit",
       [] {
         return SecItemDelete({generic, {kSecMatchLimit, kSecClassKey}});
       }},
      {"a text for a switch",
       [] {
         return SecItemDelete({generic, {kSecReturnRef, std::string("yes")}});
       }},
      {"data in a query",
       [&] {
         return SecItemDelete({generic, someData});
       }},
      {"an access list in a query",
       [] {
         return SecItemDelete({generic, {kSecAttrAccess, std::make_shared<const SecAccess>()}});
       }},
      {"no data to add", [&] { return SecItemAdd(good); }},
      {"no data object to add",
       [] {
         return SecItemAdd({generic, {kSecValueData, SecData()}});
       }},
      {"a limit in an addition",
       [&] {
         return SecItemAdd({generic, someData, {kSecMatchLimit, kSecMatchLimitOne}});
       }},
      {"a key as data",
       [&] {
         return SecItemAdd({{kSecClass, kSecClassKey}, someData});
       }},
      {"an update without data", [&] { return SecItemUpdate(good, {}); }},
      {"an update of more",
       [&] {
         return SecItemUpdate(good, {someData, {kSecAttrLabel, std::string("l")}});
       }},
      {"another key's data",
       [&] {
         return SecItemUpdate({{kSecClass, kSecClassKey}}, {someData});
       }},
      {"a key's bytes",
       [] {
         return SecItemCopyMatching({{kSecClass, kSecClassKey}, {kSecReturnData, kCFBooleanTrue}}, nullptr);
       }},
  };
  User user(Session::server);
  for (const auto& row : rows) EXPECT_EQ(row.call(), errSecParam) << row.name;
  EXPECT_FALSE(std::filesystem::exists(user.data()));
}

class SecItem : public testing::TestWithParam<Session> {
 protected:
  User user_{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(In, SecItem, testing::ValuesIn(test::allSessions),
                         testing::PrintToStringParamName());

TEST_P(SecItem, ResultsAreWhatIsAskedFor) {
  const SecDictionary item{internet,
                           {kSecAttrAccount, std::string("ann")},
                           {kSecAttrPort, std::int64_t{0}},
                           {kSecAttrProtocol, std::string("ssh ")},
                           {kSecAttrLabel, std::string("Label \u00E9")}};
  ASSERT_EQ(add(item), errSecSuccess);
  std::optional<SecValue> result = std::string("left over");

  EXPECT_EQ(SecItemCopyMatching(item, &result), errSecSuccess);
  EXPECT_FALSE(result);

  SecDictionary query = item;
  query.set(kSecReturnAttributes, kCFBooleanTrue);
  ASSERT_EQ(SecItemCopyMatching(query, &result), errSecSuccess);
  const auto attributes = std::get<std::shared_ptr<const SecDictionary>>(*result);
  EXPECT_EQ(attributes->size(), item.size());
  for (const auto& [key, value] : item) EXPECT_EQ(*attributes->find(key), value) << key;

  query.set(kSecReturnData, kCFBooleanTrue);
  ASSERT_EQ(SecItemCopyMatching(query, &result), errSecSuccess);
  const auto whole = std::get<std::shared_ptr<const SecDictionary>>(*result);
  EXPECT_EQ((*whole->find<SecData>(kSecValueData))->view(), "s3cret");

  EXPECT_EQ(SecItemCopyMatching({generic}, &result), errSecItemNotFound);
  EXPECT_FALSE(result);
}

TEST_P(SecItem, IdentityTellsItemsApart) {
  const Entry account{kSecAttrAccount, std::string("ann")};
  const SecDictionary first{
      generic, account, {kSecAttrGeneric, std::string("one")}, {kSecAttrLabel, std::string("old")}};
  const SecDictionary second{generic, account, {kSecAttrGeneric, std::string("two")}};
  ASSERT_EQ(add(first, "first"), errSecSuccess);
  EXPECT_EQ(
      add({generic, account, {kSecAttrGeneric, std::string("one")}, {kSecAttrLabel, std::string("new")}}),
      errSecDuplicateItem);
  EXPECT_EQ(add(second, "second"), errSecSuccess);
  EXPECT_EQ(add({internet, account}, "of another class"), errSecSuccess);

  SecDictionary update{
      generic, account, {kSecReturnRef, kCFBooleanTrue}, {kSecMatchLimit, kSecMatchLimitOne}};
  EXPECT_EQ(SecItemUpdate(update, {{kSecValueData, data("changed")}}), errSecSuccess);
  EXPECT_EQ(secretOf(first), "changed");
  EXPECT_EQ(secretOf(second), "second");

  const SecDictionary one{generic, account, {kSecMatchLimit, kSecMatchLimitOne}};
  EXPECT_EQ(SecItemDelete(one), errSecSuccess);
  EXPECT_EQ(secretOf(first), std::to_string(errSecItemNotFound));
  EXPECT_EQ(SecItemDelete({generic, account}), errSecSuccess);
  EXPECT_EQ(SecItemDelete(one), errSecItemNotFound);
  EXPECT_EQ(secretOf({internet, account}), "of another class");
}

TEST(SecItemIdentity, EachAttributeOfItCounts) {
  const struct {
    Entry itemClass;
    std::vector<Entry> identity;
    std::vector<Entry> others;
  } rows[] = {
      {generic,
       {{kSecAttrAccount, std::string("x")},
        {kSecAttrService, std::string("x")},
        {kSecAttrGeneric, std::string("x")},
        {kSecAttrType, std::int64_t{1}}},
       {{kSecAttrLabel, std::string("x")},
        {kSecAttrComment, std::string("x")},
        {kSecAttrDescription, std::string("x")}}},
      {internet,
       {{kSecAttrAccount, std::string("x")},
        {kSecAttrServer, std::string("x")},
        {kSecAttrPort, std::int64_t{1}},
        {kSecAttrProtocol, std::string("x")},
        {kSecAttrPath, std::string("x")},
        {kSecAttrAuthenticationType, std::string("x")},
        {kSecAttrSecurityDomain, std::string("x")}},
       {{kSecAttrLabel, std::string("x")}, {kSecAttrType, std::int64_t{1}}}},
  };
  User user(Session::server);
  for (const auto& row : rows) {
    SecDictionary item{row.itemClass};
    ASSERT_EQ(add(item), errSecSuccess);
    for (const auto& [key, value] : row.identity) {
      SecDictionary other{row.itemClass};
      other.set(key, value);
      EXPECT_EQ(add(other), errSecSuccess) << key;
      EXPECT_EQ(add(other), errSecDuplicateItem) << key;
    }
    for (const auto& [key, value] : row.others) item.set(key, value);
    EXPECT_EQ(add(item), errSecDuplicateItem);
  }
}

/// All that can be done with items; a place that is not to be had refuses each.
void expectEach(OSStatus status, const char* name) {
  SCOPED_TRACE(name);
  EXPECT_EQ(SecItemCopyMatching({generic}, nullptr), status);
  EXPECT_EQ(add({generic}), status);
  EXPECT_EQ(SecItemUpdate({generic}, {{kSecValueData, data("x")}}), status);
  EXPECT_EQ(SecItemDelete({generic}), status);
}

TEST(KeychainChoice, StaysWhereTheFirstItemWent) {
  User atDesk(Session::desktop);
  ASSERT_EQ(add({generic}, "at the desk"), errSecSuccess);
  atDesk.enter(Session::server);
  expectEach(errSecNotAvailable, "the keyring is out of reach");
  EXPECT_FALSE(std::filesystem::exists(atDesk.data("keychain.sqlite")));
  atDesk.enter(Session::desktop);
  atDesk.around().stopKeyring();
  expectEach(errSecNotAvailable, "no keyring on the bus");
  atDesk.around().startKeyring();
  EXPECT_EQ(secretOf({generic}), "at the desk");
  atDesk.around().lockCollection();
  expectEach(errSecInteractionNotAllowed, "locked, and nobody to ask");
}

TEST(KeychainChoice, StaysInTheEmbeddedKeychain) {
  User user(Session::server);
  EXPECT_EQ(SecItemDelete({generic}), errSecItemNotFound);
  ASSERT_EQ(add({generic}, "on the server"), errSecSuccess);
  user.enter(Session::desktop);
  EXPECT_EQ(secretOf({generic}), "on the server");
  struct stat status {};
  ASSERT_EQ(::stat(user.data().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
  ASSERT_EQ(::stat(user.data("keychain-place").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(KeychainChoice, IsNotSettledByAnItemThatWasNotKept) {
  User user(Session::desktop);
  user.around().lockCollection();
  EXPECT_EQ(add({generic}, "at the desk"), errSecInteractionNotAllowed);
  user.enter(Session::server);
  EXPECT_EQ(add({generic}, "on the server"), errSecSuccess);
}

TEST(KeychainChoice, KeepsNothingThatItCannotSettleFor) {
  const User user(Session::desktop);
  // As on a full disk.
  struct rlimit before {};
  ::getrlimit(RLIMIT_FSIZE, &before);
  ::signal(SIGXFSZ, SIG_IGN);
  const struct rlimit nothing { .rlim_cur = 0, .rlim_max = before.rlim_max };
  ::setrlimit(RLIMIT_FSIZE, &nothing);
  const OSStatus status = add({generic}, "at the desk");
  ::setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(status, errSecIO);
  EXPECT_EQ(SecItemCopyMatching({generic}, nullptr), errSecItemNotFound);
}

TEST(KeychainChoice, IsOneForProcessesThatMakeItAtOnce) {
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

TEST(KeychainChoice, WaitsForNothingThatDoesNotAnswer) {
  User user(Session::desktop);
  user.around().set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere/at/all");
  expectEach(errSecNotAvailable, "a dead bus, and no place settled");
  EXPECT_FALSE(std::filesystem::exists(user.data()));
}

TEST(KeychainChoice, DistrustsWhatOthersMayHaveWritten) {
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
    expectEach(errSecNotAvailable, row.name);
  }
}

}  // namespace
}  // namespace quelto::keychain
