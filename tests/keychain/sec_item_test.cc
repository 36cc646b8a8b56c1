#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <initializer_list>

#include "keychain/item_place.h"
#include "keychain/sec_item.h"
#include "tests/support/process_surroundings.h"
#include "tests/support/sessions.h"

namespace quelto::keychain {
namespace {

using Entry = SecDictionary::Entry;
using test::Session;
using test::User;

const Entry generic{kSecClass, kSecClassGenericPassword};
const Entry internet{kSecClass, kSecClassInternetPassword};
const Entry one{kSecMatchLimit, kSecMatchLimitOne};

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

std::string placeOf(const User& user) { return test::contentOf(user.data("keychain-place")); }

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
  EXPECT_EQ(test::contentOf("/proc/self/maps").find("libquelto_"), std::string::npos)
      << "no module is needed";
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
  atDesk.around().breakActivation();
  expectOfEach(errSecNotAvailable, "one that the bus cannot start");
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
  EXPECT_EQ(settledStore().store, settledStore().store) << "one for all threads";
  EXPECT_EQ(test::shell("stat -c %a " + user.data() + " " + user.data("keychain-place")).text, "700\n600\n");
}

TEST(ItemPlace, IsTheEmbeddedKeychainWhereNoKeyringCanBeOpenedAndNoneWhereOneMayBeThere) {
  const struct {
    const char* name;
    std::function<void(User&)> close;
    bool isSettled = true;
  } rows[] = {
      {"locked", [](User& user) { user.around().lockCollection(); }},
      {"one that the bus cannot start",
       [](User& user) {
         user.around().stopKeyring();
         user.around().breakActivation();
       }},
      {"no answer",
       [](User& user) { user.around().set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere/at/all"); }, false},
  };
  for (const auto& row : rows) {
    User user(Session::desktop);
    row.close(user);
    EXPECT_EQ(add({generic}, row.name), row.isSettled ? errSecSuccess : errSecNotAvailable) << row.name;
    EXPECT_EQ(placeOf(user), row.isSettled ? "embedded\n" : "") << row.name;
    EXPECT_EQ(std::filesystem::exists(user.data()), row.isSettled) << row.name;
    EXPECT_EQ(storedSecret(), row.isSettled ? row.name : std::to_string(errSecItemNotFound));
  }
}

TEST(ItemPlace, IsSettledForGoodOrNothingIsKept) {
  const struct {
    Session session;
    rlim_t room;
    /// Once the record is written, another process may rely on it.
    const char* place;
  } rows[] = {{Session::desktop, 0, ""}, {Session::server, 0, ""}, {Session::server, 100, "embedded\n"}};
  for (const auto& [session, room, place] : rows) {
    const User user(session);
    {
      const test::FileSizeLimit limit(room);
      EXPECT_EQ(add({generic}), errSecIO) << session << room;
    }
    EXPECT_EQ(placeOf(user), place) << session << room;
    EXPECT_EQ(storedSecret(), std::to_string(errSecItemNotFound)) << session << room;
    EXPECT_EQ(add({generic}), errSecSuccess) << session << room << ": not a duplicate";
  }
}

TEST(ItemPlace, IsOneForProcessesThatSettleItAtOnce) {
  for (int round = 0; round < 10; ++round) {
    User user(Session::desktop);
    test::Children children;
    for (const Session session : test::allSessions) {
      children.add([&user, session] {
        user.enter(session);
        return add({generic, {kSecAttrAccount, testing::PrintToString(session)}}) == errSecSuccess ? 1 : 0;
      });
    }
    const std::vector<int> added = children.exitStatuses();
    EXPECT_GE(std::ranges::count(added, 1), 1);
    const auto inKeyring = test::shell("secret-tool search --all class org.quelto.genericPassword");
    EXPECT_EQ(inKeyring.text.empty(), std::filesystem::exists(user.data("keychain.sqlite")))
        << "items in one place alone";
  }
}

TEST(ItemPlace, DistrustsWhatOthersMayHaveWritten) {
  const struct {
    const char* name;
    /// Run in the folder with the record.
    const char* command;
  } rows[] = {
      {"a record of nothing", "echo elsewhere >keychain-place"},
      {"an empty record", ": >keychain-place"},
      {"a folder that all may enter", "chmod 755 ."},
  };
  for (const auto& row : rows) {
    const User user(Session::server);
    ASSERT_EQ(add({generic}), errSecSuccess);
    ASSERT_EQ(std::system(("cd " + user.data() + " && " + row.command).c_str()), 0) << row.name;
    expectOfEach(errSecNotAvailable, row.name);
  }
}

TEST(SecItemDictionaries, MalformedOnesAreRefused) {
  const User user(Session::server);
  const Entry someData{kSecValueData, asData("x")};
  const Entry anyKey{kSecClass, kSecClassKey};
  const SecDictionary good{generic, {kSecAttrAccount, std::string("a")}, one};
  std::optional<SecValue> result;
  const struct {
    const char* name;
    OSStatus status;
  } rows[] = {
      {"a query without a class", SecItemDelete({one, {kSecAttrAccount, std::string("a")}})},
      {"a class that is none", SecItemDelete({one, {kSecClass, kSecMatchLimitOne}})},
      {"an unknown key", SecItemDelete({one, generic, {"colour", std::string("red")}})},
      {"an attribute of another class", SecItemDelete({one, generic, {kSecAttrServer, std::string("a")}})},
      {"a number for a text", SecItemDelete({one, generic, {kSecAttrAccount, std::int64_t{1}}})},
      {"a text for a number", SecItemDelete({one, internet, {kSecAttrPort, std::string("22")}})},
      {"another limit", SecItemDelete({generic, {kSecMatchLimit, kSecClassKey}})},
      {"no limit to delete", SecItemDelete({generic})},
      {"no limit to update", SecItemUpdate({generic}, {someData})},
      {"a text for a switch", SecItemDelete({one, generic, {kSecReturnRef, std::string("yes")}})},
      {"data in a query", SecItemDelete({one, generic, someData})},
      {"an access list in a query",
       SecItemDelete({one, generic, {kSecAttrAccess, std::make_shared<const SecAccess>()}})},
      {"no data to add", SecItemAdd({generic, {kSecAttrAccount, std::string("a")}})},
      {"no data object to add", SecItemAdd({generic, {kSecValueData, SecData()}})},
      {"a limit in an addition", SecItemAdd({generic, someData, one})},
      {"a key as data", SecItemAdd({anyKey, someData})},
      {"an update without data", SecItemUpdate(good, {})},
      {"an update of more", SecItemUpdate(good, {someData, {kSecAttrLabel, std::string("l")}})},
      {"another key's data", SecItemUpdate({anyKey, one}, {someData})},
      {"a key's bytes", SecItemCopyMatching({anyKey, {kSecReturnData, kCFBooleanTrue}}, nullptr)},
      {"a reference to a password", SecItemCopyMatching({generic, {kSecReturnRef, kCFBooleanTrue}}, &result)},
  };
  for (const auto& row : rows) EXPECT_EQ(row.status, errSecParam) << row.name;
  EXPECT_FALSE(std::filesystem::exists(user.data()));
}

using SecItem = test::InSession;
INSTANTIATE_TEST_SUITE_P(In, SecItem, test::everySession, testing::PrintToStringParamName());

/// With these attributes: each text is its own name, the number is 0.
SecDictionary itemWith(const Entry& itemClass, SecDictionaryKey number,
                       std::initializer_list<SecDictionaryKey> texts) {
  SecDictionary item{itemClass, {number, std::int64_t{0}}};
  for (const SecDictionaryKey text : texts) item.set(text, std::string(text));
  return item;
}

TEST_P(SecItem, ResultsAreWhatIsAskedFor) {
  const SecDictionary items[] = {
      itemWith(generic, kSecAttrType,
               {kSecAttrAccount, kSecAttrService, kSecAttrGeneric, kSecAttrLabel, kSecAttrComment,
                kSecAttrDescription}),
      itemWith(internet, kSecAttrPort,
               {kSecAttrAccount, kSecAttrServer, kSecAttrProtocol, kSecAttrPath, kSecAttrAuthenticationType,
                kSecAttrSecurityDomain, kSecAttrLabel, kSecAttrComment, kSecAttrDescription}),
  };
  for (const SecDictionary& item : items) {
    std::optional<SecValue> result = std::string("left over");
    EXPECT_EQ(SecItemCopyMatching(item, &result), errSecItemNotFound);
    EXPECT_FALSE(result);
    ASSERT_EQ(add(item), errSecSuccess);
    result = std::string("left over");
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
  }
}

}  // namespace
}  // namespace quelto::keychain
