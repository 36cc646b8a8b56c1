#include "credentials/keychain_items.h"

#include <memory>
#include <mutex>
#include <utility>

#include "keychain/sec_item.h"
#include "platform/text/utf8.h"

namespace quelto::credentials {
namespace {

using platform::SecData;
using platform::SecDictionary;
using platform::Secret;
using platform::SecValue;

/// Held by every account look-up from beginning to end. Never destroyed.
constinit std::mutex secReadLock;

SecDictionary firstOf(const SecPasswordStruct& match) {
  SecDictionary query = buildMatchDicton(match);
  query.set(platform::kSecMatchLimit, platform::kSecMatchLimitOne);
  return query;
}

/// Absent when the search fails.
std::optional<SecValue> resultOf(const SecDictionary& query) {
  std::optional<SecValue> result;
  return platform::SecItemCopyMatching(query, &result) == platform::errSecSuccess ? std::move(result)
                                                                                  : std::nullopt;
}

/// Absent unless the value is data in UTF-8.
std::optional<Secret> textOf(const SecValue* value) {
  const auto* data = value != nullptr ? std::get_if<SecData>(value) : nullptr;
  if (data == nullptr || !platform::isValidUtf8((*data)->view())) return std::nullopt;
  return (*data)->copy();
}

/// Null when no path leads to a program.
platform::SecAccessRef accessList(const SecItemAddition& addition) {
  std::vector<platform::SecTrustedApplication> applications;
  for (const std::string& path : addition.trustedAppPaths) {
    platform::SecTrustedApplication application;
    if (platform::SecTrustedApplicationCreateFromPath(path, application) == platform::errSecSuccess) {
      applications.push_back(std::move(application));
    }
  }
  platform::SecAccessRef access;
  // Without a list the item is better than without the item.
  if (!applications.empty()) (void)platform::SecAccessCreate(addition.accessName, applications, access);
  return access;
}

/// What the addition calls the same item.
SecDictionary queryFor(const SecItemAddition& addition) {
  SecDictionary query = buildMatchDicton(addition.settings);
  query.set(platform::kSecReturnRef, platform::kCFBooleanTrue);
  query.set(platform::kSecMatchLimit, platform::kSecMatchLimitOne);
  const bool isNote = std::holds_alternative<SecureNote>(addition.settings);
  for (const platform::SecDictionaryKey key : addition.findIgnores) {
    if (!isNote || key != platform::kSecAttrDescription) query.remove(key);
  }
  return query;
}

}  // namespace

std::optional<Secret> loadSecItemPassword(const SecPasswordStruct& match) {
  SecDictionary query = firstOf(match);
  query.set(platform::kSecReturnData, platform::kCFBooleanTrue);
  const auto result = resultOf(query);
  return result ? textOf(&*result) : std::nullopt;
}

std::optional<Account> loadSecItemAccount(const SecPasswordStruct& match) {
  const std::lock_guard lock(secReadLock);
  SecDictionary query = firstOf(match);
  query.set(platform::kSecReturnAttributes, platform::kCFBooleanTrue);
  query.set(platform::kSecReturnData, platform::kCFBooleanTrue);
  const auto result = resultOf(query);
  const auto* dictionary = result ? std::get_if<std::shared_ptr<const SecDictionary>>(&*result) : nullptr;
  if (dictionary == nullptr) return std::nullopt;
  const auto* username = (*dictionary)->find<std::string>(platform::kSecAttrAccount);
  auto password = textOf((*dictionary)->find(platform::kSecValueData));
  if (username == nullptr || !password) return std::nullopt;
  return Account{.username = *username, .password = std::move(*password)};
}

bool addSecItem(const SecItemAddition& addition) {
  const SecDictionary query = queryFor(addition);
  const auto data = std::make_shared<const Secret>(addition.password.copy());
  if (platform::SecItemCopyMatching(query, nullptr) == platform::errSecSuccess) {
    return platform::SecItemUpdate(query, {{platform::kSecValueData, data}}) == platform::errSecSuccess;
  }
  SecDictionary attributes = buildMatchDicton(addition.settings);
  attributes.set(platform::kSecValueData, data);
  if (const auto access = accessList(addition)) attributes.set(platform::kSecAttrAccess, access);
  return platform::SecItemAdd(attributes) == platform::errSecSuccess;
}

void deleteSecItem(const SecPasswordStruct& match) {
  const SecDictionary query = firstOf(match);
  while (platform::SecItemDelete(query) == platform::errSecSuccess) {
  }
}

}  // namespace quelto::credentials
