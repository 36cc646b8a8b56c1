#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/keychain/embedded/stored_item.h"
#include "platform/keychain/item_store.h"

namespace quelto::platform::keychain::embedded {

class Database;

/// The items with certain values, oldest first. Where there is a combination of exactly the names that are
/// asked for, each item costs one search of a B-tree. Otherwise the lists of the single names are intersected
/// by leaps: each raises the candidate to its own next item, which takes at most as many searches as the
/// shortest list has items, times the number of names, and far fewer where the values go together.
///
/// For use in one transaction, which may remove items that were found. All calls throw Failure:
/// errSecAuthFailed when a listed item is gone or does not have the values under which it is listed, so that
/// an altered item is not taken for one that is not there.
class ItemSearch {
 public:
  ItemSearch(Database& database, const ItemMatch& match);

  /// The items that equal these attributes in each of the names, where a missing one equals an empty one.
  /// Makes the combination of the names, so it needs a transaction that writes.
  ItemSearch(Database& database, const ItemMatch& match, const std::vector<std::string>& identity);

  [[nodiscard]] std::optional<StoredItem> next();

  /// Whether so many searches were needed that a combination pays.
  [[nodiscard]] bool wasSlow() const;

 private:
  struct List {
    std::int64_t combination = 0;
    std::int64_t hash = 0;
    Attributes names;
  };

  [[nodiscard]] std::optional<std::int64_t> nextListed();
  [[nodiscard]] std::optional<std::int64_t> nextOfClass() const;
  [[nodiscard]] bool hasValues(const StoredItem& item) const;

  Database& database_;
  ItemMatch match_;
  /// Absent when one of the names occurs nowhere, so that nothing matches.
  std::optional<std::vector<List>> lists_;
  std::int64_t from_ = 0;
  std::int64_t searches_ = 0;
};

}  // namespace quelto::platform::keychain::embedded
