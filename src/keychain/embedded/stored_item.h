#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "keychain/item_store.h"

/// Items as rows. A row's secret is sealed for the row's number, its class and all its attributes. All calls
/// are made in a transaction and throw Failure.
namespace quelto::keychain::embedded {

class Database;

/// A row without its secret.
struct StoredItem {
  std::int64_t id = 0;
  ItemClass itemClass = ItemClass::genericPassword;
  std::string attributeBytes;
  Attributes attributes;
};

/// How a class stands in the database.
[[nodiscard]] std::int64_t numberOf(ItemClass itemClass);

/// Absent when there is no such row, or not with a class and attributes as we write them.
[[nodiscard]] std::optional<StoredItem> loadItem(Database& database, std::int64_t id);

/// The row's secret; errSecAuthFailed when the row is not as it was sealed.
[[nodiscard]] platform::Secret openSecret(Database& database, const platform::Secret& key,
                                          const StoredItem& item);

/// Whether the row is as it was sealed.
[[nodiscard]] bool isIntact(Database& database, const platform::Secret& key, const StoredItem& item);

[[nodiscard]] StoredItem insertItem(Database& database, const platform::Secret& key, const Item& item);

/// errSecAuthFailed, and nothing is changed, when the row is not as it was sealed.
void replaceSecret(Database& database, const platform::Secret& key, const StoredItem& item,
                   const platform::Secret& secret);

/// Does nothing when there is no such row.
void deleteItem(Database& database, std::int64_t id);

}  // namespace quelto::keychain::embedded
