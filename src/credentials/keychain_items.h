#pragma once

#include <optional>
#include <string>
#include <vector>

#include "items/account.h"
#include "items/item_records.h"
#include "platform/secrets/secret.h"

/// The credential store's operations on the keychain. Any failure of the keychain gives absent or false, and
/// nothing is shown. Each request to the keychain ends within the time that sec_item.h gives; an addition
/// makes two, a deletion one more than there are items. Thread-safe.
namespace quelto::credentials {

/// The secret of the first item that matches; absent also when it is not UTF-8.
[[nodiscard]] std::optional<platform::Secret> loadSecItemPassword(const items::SecPasswordStruct& match);

/// Account and secret of the first item that matches; absent also when it has no account, or its secret is
/// not UTF-8. These calls, and no others, wait for each other.
[[nodiscard]] std::optional<items::Account> loadSecItemAccount(const items::SecPasswordStruct& match);

struct SecItemAddition {
  items::SecPasswordStruct settings;
  /// UTF-8.
  platform::Secret password;
  /// The name and the paths of the access list that a new item gets; see `items::accessListOf`.
  std::string accessName;
  std::vector<std::string> trustedAppPaths;
  /// Attributes in which a stored item may differ from `settings` and still be the same item. The description
  /// of a secure note is never ignored.
  std::vector<keychain::SecDictionaryKey> findIgnores;
};

/// Replaces the secret of the item that is there, and nothing else of it, or adds a new one. Whether it was
/// stored.
[[nodiscard]] bool addSecItem(const SecItemAddition& addition);

/// Deletes every item that matches.
void deleteSecItem(const items::SecPasswordStruct& match);

}  // namespace quelto::credentials
