#include "keychain/embedded/item_search.h"

#include <algorithm>

#include "keychain/embedded/attribute_bytes.h"
#include "keychain/embedded/database.h"
#include "keychain/embedded/failure.h"
#include "keychain/embedded/item_index.h"

namespace quelto::keychain::embedded {

ItemSearch::ItemSearch(Database& database, const ItemMatch& match) : database_(database), match_(match) {
  lists_.emplace();
  for (const auto& [name, value] : match.attributes) {
    const Attributes single{{name, value}};
    const auto combination = combinationOf(database, match.itemClass, Missing::notListed, single);
    if (!combination) {
      lists_.reset();
      return;
    }
    lists_->push_back({.combination = *combination, .hash = hashOfValues(single, single), .names = single});
  }
}

ItemSearch::ItemSearch(Database& database, const ItemMatch& match, const std::vector<std::string>& identity)
    : database_(database), match_{.itemClass = match.itemClass, .attributes = {}} {
  for (const std::string& name : identity) {
    match_.attributes.insert_or_assign(name, valueOrEmpty(match.attributes, name));
  }
  const auto combination =
      makeCombination(database, match.itemClass, Missing::countsAsEmpty, match_.attributes);
  lists_ = {{.combination = combination,
             .hash = hashOfValues(match_.attributes, match_.attributes),
             .names = match_.attributes}};
}

std::optional<StoredItem> ItemSearch::next() {
  auto row = nextRow();
  if (!row) return std::nullopt;
  if (!row->item) throw Failure(errSecAuthFailed);
  return std::move(row->item);
}

std::optional<ItemSearch::Row> ItemSearch::nextRow() {
  while (lists_) {
    const auto id = lists_->empty() ? nextOfClass() : nextListed();
    if (!id) break;
    from_ = *id + 1;
    Row row{.id = *id, .item = loadItem(database_, *id)};
    if (row.item && !isMatch(*row.item)) {
      if (isAsListed(*row.item)) continue;  // other values that happen to have the same hash
      row.item.reset();
    }
    return row;
  }
  return std::nullopt;
}

std::optional<std::int64_t> ItemSearch::nextListed() {
  std::int64_t candidate = from_;
  std::size_t agreeing = 0;
  for (std::size_t turn = 0; agreeing < lists_->size(); ++turn) {
    database_.requireTime();
    const List& list = (*lists_)[turn % lists_->size()];
    const auto item = firstListed(database_, list.combination, list.hash, candidate);
    if (!item) return std::nullopt;
    agreeing = *item == candidate ? agreeing + 1 : 1;
    candidate = *item;
  }
  return candidate;
}

std::optional<std::int64_t> ItemSearch::nextOfClass() const {
  Statement row = database_.query("SELECT id FROM item WHERE class = ? AND id >= ? ORDER BY id LIMIT 1",
                                  numberOf(match_.itemClass), from_);
  return row.step() ? std::optional(row.integer(0)) : std::nullopt;
}

bool ItemSearch::isMatch(const StoredItem& item) const {
  return item.itemClass == match_.itemClass && std::ranges::all_of(match_.attributes, [&](const auto& asked) {
           return valueOrEmpty(item.attributes, asked.first) == asked.second;
         });
}

bool ItemSearch::isAsListed(const StoredItem& item) const {
  return item.itemClass == match_.itemClass && std::ranges::all_of(*lists_, [&](const List& list) {
           return hashOfValues(list.names, item.attributes) == list.hash;
         });
}

}  // namespace quelto::keychain::embedded
