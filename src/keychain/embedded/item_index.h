#pragma once

#include <cstdint>
#include <optional>

#include "keychain/item_store.h"

/// Lists of items by the values of their attributes. A combination is a set of names of one class; its
/// entries hold, ordered by (hash of the values, item), every item that it lists. So the items that have
/// certain values for those names stand together, oldest first, and are found with one search of a B-tree.
///
/// There is a combination for each single name. Of several names there are those that `add` is asked to keep
/// apart. All calls are made in a transaction (those that change something in one that writes) and throw
/// Failure.
namespace quelto::keychain::embedded {

class Database;
struct StoredItem;

/// What an item without one of the names means to a combination: that it is not listed, or that it is listed
/// as if it had an empty value.
enum class Missing { notListed = 0, countsAsEmpty = 1 };

/// The combination's number; absent when there is none. Of `names` only the names count.
[[nodiscard]] std::optional<std::int64_t> combinationOf(Database& database, ItemClass itemClass,
                                                        Missing missing, const Attributes& names);

/// Makes a combination, unless there is one, and lists all items of the class in it: takes time in proportion
/// to their number. Rows without attributes of ours have no values to stand under and are left out.
[[nodiscard]] std::int64_t makeCombination(Database& database, ItemClass itemClass, Missing missing,
                                           const Attributes& names);

/// The first listed item with this hash whose number is at least `from`.
[[nodiscard]] std::optional<std::int64_t> firstListed(Database& database, std::int64_t combination,
                                                      std::int64_t hash, std::int64_t from);

/// Lists a new item in every combination of its class that it belongs to.
void listItem(Database& database, const StoredItem& item);

/// Takes an item off all lists, whatever has become of its row.
void unlistItem(Database& database, std::int64_t id);

}  // namespace quelto::keychain::embedded
