#pragma once

#include <optional>

#include "keychain/item_store.h"
#include "keychain/sec_dictionary.h"

/// Translates between the dictionaries of callers and the items that places keep.
namespace quelto::keychain {

/// What a query asks for.
struct ItemQuery {
  ItemMatch match;
  /// Whether it is limited to the first match.
  bool isLimitedToOne = false;
  bool returnsData = false;
  bool returnsAttributes = false;
  bool returnsReference = false;
};

/// The results of the following four are absent for a dictionary without a known class, with a key that does
/// not belong there, or with a value of the wrong type.

[[nodiscard]] std::optional<ItemQuery> queryOf(const SecDictionary& dictionary);

/// A password item with its data and access list.
[[nodiscard]] std::optional<Item> newItemOf(const SecDictionary& dictionary);

/// The data of an update, which may change nothing else.
[[nodiscard]] std::optional<platform::Secret> newDataOf(const SecDictionary& changes);

/// The two halves of a pair to be made, both without data.
struct NewKeyPair {
  unsigned bits;
  Item privateKey;
  Item publicKey;
};
[[nodiscard]] std::optional<NewKeyPair> newKeyPairOf(const SecDictionary& dictionary);

/// The class and the attributes of a stored item, as a caller would write them. A value that another program
/// has stored and that is not of its attribute's type is left out.
[[nodiscard]] SecDictionary dictionaryOf(const Item& item);

}  // namespace quelto::keychain
