#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "keychain/embedded/stored_item.h"
#include "keychain/item_store.h"

namespace quelto::keychain::embedded {

class Database;

/// The items with certain values, oldest first. The lists of the single names are intersected by leaps: each
/// raises the candidate to its own next item, which takes at most as many searches of a B-tree as the
/// shortest list has items, times the number of names, and far fewer where the values go together.
///
/// For use in one transaction, which may remove items that were found. All calls throw Failure.
class ItemSearch {
 public:
  ItemSearch(Database& database, const ItemMatch& match);

  /// The items that equal these attributes in each of the names, where a missing one equals an empty one.
  /// Makes the combination of the names, so it needs a transaction that writes.
  ItemSearch(Database& database, const ItemMatch& match, const std::vector<std::string>& identity);

  /// errSecAuthFailed when the next row is altered, so that it is not taken for one that is not there.
  [[nodiscard]] std::optional<StoredItem> next();

  struct Row {
    std::int64_t id = 0;
    /// Absent when the row is altered: gone, unreadable, or without the values under which it is listed.
    std::optional<StoredItem> item;
  };
  /// As `next`, for those who can do with an altered row.
  [[nodiscard]] std::optional<Row> nextRow();

 private:
  struct List {
    std::int64_t combination = 0;
    std::int64_t hash = 0;
    Attributes names;
  };

  [[nodiscard]] std::optional<std::int64_t> nextListed();
  [[nodiscard]] std::optional<std::int64_t> nextOfClass() const;
  [[nodiscard]] bool isMatch(const StoredItem& item) const;
  [[nodiscard]] bool isAsListed(const StoredItem& item) const;

  Database& database_;
  ItemMatch match_;
  /// Absent when one of the names occurs nowhere, so that nothing matches.
  std::optional<std::vector<List>> lists_;
  std::int64_t from_ = 0;
};

}  // namespace quelto::keychain::embedded
