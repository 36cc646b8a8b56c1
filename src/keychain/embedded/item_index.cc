#include "keychain/embedded/item_index.h"

#include <algorithm>
#include <string>
#include <vector>

#include "keychain/embedded/attribute_bytes.h"
#include "keychain/embedded/database.h"
#include "keychain/embedded/failure.h"
#include "keychain/embedded/stored_item.h"

namespace quelto::keychain::embedded {
namespace {

struct Combination {
  std::int64_t id = 0;
  Missing missing = Missing::notListed;
  /// With empty values.
  Attributes names;

  [[nodiscard]] bool lists(const Attributes& attributes) const {
    return missing == Missing::countsAsEmpty ||
           std::ranges::all_of(names, [&](const auto& name) { return attributes.contains(name.first); });
  }
};

Attributes withoutValues(const Attributes& attributes) {
  Attributes names;
  for (const auto& [name, value] : attributes) names.emplace_hint(names.end(), name, "");
  return names;
}

std::vector<Combination> combinationsOf(Database& database, ItemClass itemClass) {
  std::vector<Combination> combinations;
  Statement row =
      database.query("SELECT id, missing, names FROM combination WHERE class = ?", numberOf(itemClass));
  while (row.step()) {
    auto names = attributesFrom(row.bytes(2));
    if (!names) throw Failure(errSecIO);
    combinations.push_back({.id = row.integer(0),
                            .missing = row.integer(1) != 0 ? Missing::countsAsEmpty : Missing::notListed,
                            .names = std::move(*names)});
  }
  return combinations;
}

Combination insertCombination(Database& database, ItemClass itemClass, Missing missing, Attributes names) {
  database.run("INSERT INTO combination(class, missing, names) VALUES(?, ?, ?)", numberOf(itemClass),
               static_cast<int>(missing), bytesOf(names));
  return {.id = database.lastRow(), .missing = missing, .names = std::move(names)};
}

void list(Database& database, const Combination& combination, const StoredItem& item) {
  if (!combination.lists(item.attributes)) return;
  database.run("INSERT INTO entry(combination, hash, item) VALUES(?, ?, ?)", combination.id,
               hashOfValues(combination.names, item.attributes), item.id);
}

std::vector<std::int64_t> itemsOf(Database& database, ItemClass itemClass) {
  std::vector<std::int64_t> items;
  Statement row = database.query("SELECT id FROM item WHERE class = ? ORDER BY id", numberOf(itemClass));
  while (row.step()) items.push_back(row.integer(0));
  return items;
}

/// The names of which no combination exists yet, which is so when no item had them before.
void makeSingleCombinations(Database& database, ItemClass itemClass, const Attributes& names) {
  for (const auto& [name, value] : names) {
    const Attributes single{{name, ""}};
    if (!combinationOf(database, itemClass, Missing::notListed, single)) {
      insertCombination(database, itemClass, Missing::notListed, single);
    }
  }
}

}  // namespace

std::optional<std::int64_t> combinationOf(Database& database, ItemClass itemClass, Missing missing,
                                          const Attributes& names) {
  const std::string bytes = bytesOf(withoutValues(names));
  Statement row = database.query("SELECT id FROM combination WHERE class = ? AND missing = ? AND names = ?",
                                 numberOf(itemClass), static_cast<int>(missing), bytes);
  return row.step() ? std::optional(row.integer(0)) : std::nullopt;
}

std::int64_t makeCombination(Database& database, ItemClass itemClass, Missing missing,
                             const Attributes& names) {
  if (const auto existing = combinationOf(database, itemClass, missing, names)) return *existing;
  const Combination combination = insertCombination(database, itemClass, missing, withoutValues(names));
  for (const std::int64_t id : itemsOf(database, itemClass)) {
    database.requireTime();
    if (const auto item = loadItem(database, id)) list(database, combination, *item);
  }
  return combination.id;
}

std::optional<std::int64_t> firstListed(Database& database, std::int64_t combination, std::int64_t hash,
                                        std::int64_t from) {
  Statement row = database.query(
      "SELECT item FROM entry WHERE combination = ? AND hash = ? AND item >= ? ORDER BY item LIMIT 1",
      combination, hash, from);
  return row.step() ? std::optional(row.integer(0)) : std::nullopt;
}

void listItem(Database& database, const StoredItem& item) {
  makeSingleCombinations(database, item.itemClass, item.attributes);
  for (const Combination& combination : combinationsOf(database, item.itemClass))
    list(database, combination, item);
}

void unlistItem(Database& database, std::int64_t id) { database.run("DELETE FROM entry WHERE item = ?", id); }

}  // namespace quelto::keychain::embedded
