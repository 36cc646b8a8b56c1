#pragma once

#include <optional>
#include <string>
#include <vector>

#include "keychain/item_store.h"
#include "keychain/sec_dictionary.h"

/// Between the dictionaries that callers write and the items that places keep.
namespace quelto::platform::keychain {

/// What a query asks for.
struct ItemQuery {
  ItemMatch match;
  HowMany howMany = HowMany::all;
  bool returnsData = false;
  bool returnsAttributes = false;
  bool returnsReference = false;
};

/// These four are absent for a dictionary without a class that is known, with a key that does not belong
/// there, or with a value of the wrong type.
[[nodiscard]] std::optional<ItemQuery> queryOf(const SecDictionary& dictionary);

/// A password item with its data and access list.
[[nodiscard]] std::optional<Item> newItemOf(const SecDictionary& dictionary);

/// The data of an update, which changes nothing else.
[[nodiscard]] std::optional<Secret> newDataOf(const SecDictionary& changes);

/// The two halves of a pair that is to be made, both without data.
struct NewKeyPair {
  unsigned bits;
  Item privateKey;
  Item publicKey;
};
[[nodiscard]] std::optional<NewKeyPair> newKeyPairOf(const SecDictionary& dictionary);

/// The attributes in which two items of one class have to differ.
[[nodiscard]] const std::vector<std::string>& identityOf(ItemClass itemClass);

/// The class and the attributes of a stored item, as a caller would have written them. What another program
/// has put there in a form that the attribute does not have is left out.
[[nodiscard]] SecDictionary dictionaryOf(const Item& item);

}  // namespace quelto::platform::keychain
