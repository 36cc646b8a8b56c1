#include "credentials/keychain_items.h"

#include <memory>
#include <mutex>
#include <utility>

#include "items/access_list.h"
#include "keychain/sec_item.h"
#include "platform/text/utf8.h"

namespace quelto::credentials {
namespace {

using items::Account;
using items::SecPasswordStruct;
using keychain::SecData;
using keychain::SecDictionary;
using keychain::SecValue;
using platform::Secret;

/// Held by every account look-up from beginning to end. Never destroyed.
constinit std::mutex secReadLock;

SecDictionary firstOf(const SecPasswordStruct& match) {
  SecDictionary query = buildMatchDicton(match);
  query.set(keychain::kSecMatchLimit, keychain::kSecMatchLimitOne);
  return query;
}

/// Absent when the search fails.
std::optional<SecValue> resultOf(const SecDictionary& query) {
  std::optional<SecValue> result;
  return keychain::SecItemCopyMatching(query, &result) == keychain::errSecSuccess ? std::move(result)
                                                                                  : std::nullopt;
}

/// Absent unless the value is data in UTF-8.
std::optional<Secret> textOf(const SecValue* value) {
  const auto* data = value != nullptr ? std::get_if<SecData>(value) : nullptr;
  if (data == nullptr || !platform::isValidUtf8((*data)->view())) return std::nullopt;
  return (*data)->copy();
}

/// What the addition calls the same item.
SecDictionary queryFor(const SecItemAddition& addition) {
  SecDictionary query = buildMatchDicton(addition.settings);
  query.set(keychain::kSecReturnRef, keychain::kCFBooleanTrue);
  query.set(keychain::kSecMatchLimit, keychain::kSecMatchLimitOne);
  const bool isNote = std::holds_alternative<items::SecureNote>(addition.settings);
  for (const keychain::SecDictionaryKey key : addition.findIgnores) {
    if (!isNote || key != keychain::kSecAttrDescription) query.remove(key);
  }
  return query;
}

}  // namespace

std::optional<Secret> loadSecItemPassword(const SecPasswordStruct& match) {
  SecDictionary query = firstOf(match);
  query.set(keychain::kSecReturnData, keychain::kCFBooleanTrue);
  const auto result = resultOf(query);
  return result ? textOf(&*result) : std::nullopt;
}

std::optional<Account> loadSecItemAccount(const SecPasswordStruct& match) {
  const std::lock_guard lock(secReadLock);
  SecDictionary query = firstOf(match);
  query.set(keychain::kSecReturnAttributes, keychain::kCFBooleanTrue);
  query.set(keychain::kSecReturnData, keychain::kCFBooleanTrue);
  const auto result = resultOf(query);
  const auto* dictionary = result ? std::get_if<std::shared_ptr<const SecDictionary>>(&*result) : nullptr;
  if (dictionary == nullptr) return std::nullopt;
  const auto* username = (*dictionary)->find<std::string>(keychain::kSecAttrAccount);
  auto password = textOf((*dictionary)->find(keychain::kSecValueData));
  if (username == nullptr || !password) return std::nullopt;
  return Account{.username = *username, .password = std::move(*password)};
}

bool addSecItem(const SecItemAddition& addition) {
  const SecDictionary query = queryFor(addition);
  const auto data = std::make_shared<const Secret>(addition.password.copy());
  if (keychain::SecItemCopyMatching(query, nullptr) == keychain::errSecSuccess) {
    return keychain::SecItemUpdate(query, {{keychain::kSecValueData, data}}) == keychain::errSecSuccess;
  }
  SecDictionary attributes = buildMatchDicton(addition.settings);
  attributes.set(keychain::kSecValueData, data);
  if (const auto access = items::accessListOf(addition.accessName, addition.trustedAppPaths)) {
    attributes.set(keychain::kSecAttrAccess, access);
  }
  return keychain::SecItemAdd(attributes) == keychain::errSecSuccess;
}

void deleteSecItem(const SecPasswordStruct& match) {
  const SecDictionary query = firstOf(match);
  while (keychain::SecItemDelete(query) == keychain::errSecSuccess) {
  }
}

}  // namespace quelto::credentials
