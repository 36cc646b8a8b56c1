#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/text/unicode.h"

namespace quelto::ini {

/// The same for names that are canonically equivalent.
[[nodiscard]] std::uint32_t nameHash(std::string_view name);

/// A map from names to values in the order in which the names were added. Names are the same when they are
/// canonically equivalent (Unicode standard, section 3.7); the spelling that came first is kept. Finding and
/// adding take constant time on average, erasing takes time linear in the map's size: several entries are
/// best erased by one `eraseIf`. A change of the size makes pointers to values invalid. One thread at a time.
template <typename Value>
class OrderedMap {
 public:
  struct Entry {
    std::string name;
    Value value;
    friend bool operator==(const Entry&, const Entry&) = default;
  };

  [[nodiscard]] auto begin() const { return entries_.begin(); }
  [[nodiscard]] auto end() const { return entries_.end(); }
  [[nodiscard]] std::size_t size() const { return entries_.size(); }
  [[nodiscard]] bool empty() const { return entries_.empty(); }

  /// Null when there is no such name.
  [[nodiscard]] const Value* find(std::string_view name) const {
    const std::size_t at = positionOf(name, nameHash(name));
    return at == entries_.size() ? nullptr : &entries_[at].value;
  }
  [[nodiscard]] Value* find(std::string_view name) {
    return const_cast<Value*>(std::as_const(*this).find(name));
  }

  /// The name's value; an empty one is added behind all others when there is none.
  [[nodiscard]] Value& operator[](std::string_view name) {
    const std::uint32_t hash = nameHash(name);
    const std::size_t at = positionOf(name, hash);
    if (at == entries_.size()) {
      if (entries_.empty()) entries_.reserve(fewEntries);
      entries_.push_back({.name = std::string(name), .value = {}});
      index(hash);
    }
    return entries_[at].value;
  }

  /// Whether there was such a name.
  bool erase(std::string_view name) {
    const Value* const value = find(name);
    return value != nullptr && eraseIf([value](const Entry& entry) { return &entry.value == value; }) == 1;
  }

  /// Erases the entries for which `predicate` holds and returns how many there were.
  template <typename Predicate>
  std::size_t eraseIf(Predicate predicate) {
    // std::erase_if would ask for entries that have been moved.
    std::vector<Entry> kept;
    kept.reserve(entries_.size());
    for (Entry& entry : entries_) {
      if (!predicate(std::as_const(entry))) kept.push_back(std::move(entry));
    }
    const std::size_t erased = entries_.size() - kept.size();
    entries_ = std::move(kept);
    if (erased != 0) indexAgain();
    return erased;
  }

  friend bool operator==(const OrderedMap& one, const OrderedMap& other) {
    return one.entries_ == other.entries_;
  }

 private:
  /// So few that comparing all hashes is cheaper than a table; enough for the keys of an item.
  static constexpr std::size_t fewEntries = 16;

  /// Of the table: an entry's position plus 1, or 0 in a free slot.
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t number = 0;
  };

  /// A file has very many sections, so each map of their few keys should be small.
  [[nodiscard]] static std::uint8_t shortHash(std::uint32_t hash) { return static_cast<std::uint8_t>(hash); }

  [[nodiscard]] bool hasName(std::size_t at, std::string_view name) const {
    return platform::isCanonicallyEqual(entries_[at].name, name);
  }

  /// Where the entry of this name is; the number of entries when there is none.
  [[nodiscard]] std::size_t positionOf(std::string_view name, std::uint32_t hash) const {
    if (slots_.empty()) {
      std::size_t at = 0;
      while (at < entries_.size() && (hashes_[at] != shortHash(hash) || !hasName(at, name))) ++at;
      return at;
    }
    for (std::size_t slot = hash;; ++slot) {
      const Slot& taken = slots_[slot &= slots_.size() - 1];
      if (taken.number == 0) return entries_.size();
      if (taken.hash == hash && hasName(taken.number - 1, name)) return taken.number - 1;
    }
  }

  /// Makes the last entry found by its hash.
  void index(std::uint32_t hash) {
    if (entries_.size() <= fewEntries) {
      hashes_[entries_.size() - 1] = shortHash(hash);
    } else if (2 * entries_.size() > slots_.size()) {
      indexAgain();
    } else {
      put({.hash = hash, .number = static_cast<std::uint32_t>(entries_.size())});
    }
  }

  void put(Slot taken) {
    std::size_t slot = taken.hash & (slots_.size() - 1);
    while (slots_[slot].number != 0) slot = (slot + 1) & (slots_.size() - 1);
    slots_[slot] = taken;
  }

  /// Makes all entries found by their hashes.
  void indexAgain() {
    const bool isTable = entries_.size() > fewEntries;
    slots_.assign(isTable ? std::bit_ceil(4 * entries_.size()) : 0, Slot{});
    for (std::size_t at = 0; at < entries_.size(); ++at) {
      const std::uint32_t hash = nameHash(entries_[at].name);
      if (isTable) {
        put({.hash = hash, .number = static_cast<std::uint32_t>(at + 1)});
      } else {
        hashes_[at] = shortHash(hash);
      }
    }
  }

  std::vector<Entry> entries_;
  std::array<std::uint8_t, fewEntries> hashes_{};
  /// Empty when there are few entries, else at most half full. The number of slots is a power of 2.
  std::vector<Slot> slots_;
};

}  // namespace quelto::ini
