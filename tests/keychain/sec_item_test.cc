#include "keychain/sec_item.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <set>

#include "tests/support/sessions.h"

namespace quelto::keychain {
namespace {

using test::Session;
using test::User;
using Entry = SecDictionary::Entry;

SecData asData(std::string_view bytes) { return std::make_shared<const platform::Secret>(bytes); }

const Entry generic{kSecClass, kSecClassGenericPassword};
const Entry internet{kSecClass, kSecClassInternetPassword};

OSStatus add(SecDictionary attributes, std::string_view secret = "s3cret") {
  attributes.set(kSecValueData, asData(secret));
  return SecItemAdd(attributes);
}

TEST(SecItemDictionaries, MalformedOnesAreRefused) {
  const User user(Session::server);
  const Entry someData{kSecValueData, asData("x")};
  const Entry anyKey{kSecClass, kSecClassKey};
  const Entry one{kSecMatchLimit, kSecMatchLimitOne};
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

class SecItem : public testing::TestWithParam<Session> {
 private:
  User user_{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(In, SecItem, testing::ValuesIn(test::allSessions),
                         testing::PrintToStringParamName());

/// With these attributes: each text is its own name, the number is 0.
SecDictionary itemWith(const Entry& itemClass, SecDictionaryKey number,
                       std::initializer_list<SecDictionaryKey> texts) {
  SecDictionary item{itemClass, {number, std::int64_t{0}}};
  for (const SecDictionaryKey text : texts) item.set(text, std::string(text));
  return item;
}

TEST_P(SecItem, ResultsAreWhatIsAskedFor) {
  const std::set<SecDictionaryKey> notOfIdentity{kSecAttrLabel, kSecAttrComment, kSecAttrDescription};
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

    for (const auto& [key, value] : item) {
      if (key == kSecClass) continue;
      SecDictionary other = item;
      other.remove(key);
      EXPECT_EQ(add(other), notOfIdentity.contains(key) ? errSecDuplicateItem : errSecSuccess) << key;
    }
  }
}

}  // namespace
}  // namespace quelto::keychain
