#pragma once

#include <optional>
#include <string>
#include <vector>

#include "items/item_records.h"
#include "platform/secrets/secret.h"

/// The keychain's side of the credential store. A failure of the keychain, of whatever kind, is told as
/// absent or false and nothing else; nothing is shown. Each request to the keychain ends in the time that
/// sec_item.h gives; an addition takes two, a deletion one more than there are items. Thread-safe.
namespace quelto::credentials {

/// The secret of the first item that matches; absent also when it is not UTF-8.
[[nodiscard]] std::optional<platform::Secret> loadSecItemPassword(const SecPasswordStruct& match);

struct Account {
  std::string username;
  platform::Secret password;
};

/// Account and secret of the first item that matches; absent also when it has no account, or its secret is
/// not UTF-8. These calls, and no others, wait for each other.
[[nodiscard]] std::optional<Account> loadSecItemAccount(const SecPasswordStruct& match);

struct SecItemAddition {
  SecPasswordStruct settings;
  /// UTF-8.
  platform::Secret password;
  /// The name of the access list that a new item gets, of those paths where something stands; without any, it
  /// gets none.
  std::string accessName;
  std::vector<std::string> trustedAppPaths;
  /// Attributes in which a stored item may differ from `settings` and still be the same. The description of a
  /// secure note is never one.
  std::vector<keychain::SecDictionaryKey> findIgnores;
};

/// Replaces the secret of the item that is there, and nothing else of it, or adds a new one. Whether it was
/// stored.
[[nodiscard]] bool addSecItem(const SecItemAddition& addition);

/// Deletes every item that matches.
void deleteSecItem(const SecPasswordStruct& match);

}  // namespace quelto::credentials
