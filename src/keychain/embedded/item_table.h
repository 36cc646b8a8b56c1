#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "keychain/embedded/sealing.h"
#include "keychain/item_store.h"
#include "platform/secrets/secret.h"

namespace quelto::keychain::embedded {

class Database;

/// An item whose seal was found intact.
struct OpenedItem {
  std::int64_t id = 0;
  Item item;
};

/// The items as rows. A row's secret is sealed for the row's number, its class and all its attributes.
///
/// One attribute of each class (service, server, tag) also has a column, empty without it, and an index on
/// class and column. A call reads the rows of the class that have the value of its match there, oldest first;
/// without a value in the match, the whole class. Of these
/// - an intact row that equals the match is found;
/// - an altered row (its attributes are unreadable or its seal does not open) or a misfiled one (its
///   attributes have another value than the column) is passed over. Only where nothing is found it is
///   reported, since it may be what was asked for.
///
/// A row whose class or column was changed is not seen where it was before, as if it were deleted.
/// For use in one transaction. All calls throw Failure; see `Database` as well.
class ItemTable {
 public:
  ItemTable(Database& database, SealingKey key) : database_(database), key_(std::move(key)) {}

  /// The oldest match. Throws errSecAuthFailed when there is none among rows of which one is altered or
  /// misfiled.
  [[nodiscard]] std::optional<OpenedItem> find(const ItemMatch& match);

  /// Whether an intact row has the identity of this item.
  [[nodiscard]] bool hasIdentityOf(const Item& item);

  void insert(const Item& item);

  void replaceSecret(const OpenedItem& opened, const platform::Secret& secret);

  /// Removes the oldest match or else the oldest altered row, whose own values nobody knows. Puts the column
  /// of misfiled rows right on the way. False when nothing was removed.
  [[nodiscard]] bool remove(const ItemMatch& match);

 private:
  class Rows;
  struct Row;

  [[nodiscard]] std::optional<platform::Secret> opened(ItemClass itemClass, const Row& row);

  void sealInto(std::int64_t id, const std::string& binding, const platform::Secret& secret);

  Database& database_;
  SealingKey key_;
};

}  // namespace quelto::keychain::embedded
