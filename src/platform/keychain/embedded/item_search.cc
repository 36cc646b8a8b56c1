#include "platform/keychain/embedded/item_search.h"

#include "platform/keychain/embedded/attribute_bytes.h"
#include "platform/keychain/embedded/database.h"
#include "platform/keychain/embedded/item_index.h"
#include "platform/keychain/failure.h"

namespace quelto::platform::keychain::embedded {
namespace {

/// Some hundred microseconds' worth.
constexpr std::int64_t manySearches = 200;

}  // namespace

ItemSearch::ItemSearch(Database& database, const ItemMatch& match) : database_(database), match_(match) {
  const auto listOf = [&](const Attributes& names) -> std::optional<List> {
    const auto combination = combinationOf(database, match.itemClass, Missing::notListed, names);
    if (!combination) return std::nullopt;
    return List{.combination = *combination, .hash = hashOfValues(names, match.attributes), .names = names};
  };
  lists_.emplace();
  if (match.attributes.size() > 1) {
    if (auto all = listOf(match.attributes)) {
      lists_->push_back(std::move(*all));
      return;
    }
  }
  for (const auto& [name, value] : match.attributes) {
    auto single = listOf({{name, value}});
    if (!single) {
      lists_.reset();
      return;
    }
    lists_->push_back(std::move(*single));
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
  while (lists_) {
    const auto id = lists_->empty() ? nextOfClass() : nextListed();
    if (!id) break;
    from_ = *id + 1;
    StoredItem item = loadItem(database_, match_.itemClass, *id);
    if (hasValues(item)) return item;
  }
  return std::nullopt;
}

bool ItemSearch::wasSlow() const { return searches_ > manySearches; }

std::optional<std::int64_t> ItemSearch::nextListed() {
  std::int64_t candidate = from_;
  std::size_t agreeing = 0;
  for (std::size_t turn = 0; agreeing < lists_->size(); ++turn) {
    database_.requireTime();
    ++searches_;
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

bool ItemSearch::hasValues(const StoredItem& item) const {
  bool isEqual = true;
  for (const auto& [name, value] : match_.attributes) {
    isEqual &= valueOrEmpty(item.attributes, name) == value;
  }
  if (isEqual) return true;
  for (const List& list : *lists_) {
    if (hashOfValues(list.names, item.attributes) != list.hash) throw Failure(errSecAuthFailed);
  }
  return false;  // other values that happen to have the same hash
}

}  // namespace quelto::platform::keychain::embedded
