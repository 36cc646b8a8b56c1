#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "keychain/item_store.h"
#include "keychain/secret_service/glib_owners.h"

/// How items are stored in the keyring. Attribute values and labels are D-Bus strings, which hold neither NUL
/// nor ill-formed UTF-8, and not every keyring keeps control characters. A value without any of these is
/// stored as it is; any other, and one that looks like an encoded one, as a "data" URL (RFC 2397) of its
/// bytes, each outside RFC 3986's unreserved set percent-encoded: "data:,a%00b". So any bytes come back, and
/// two texts are equal exactly when their bytes are. The label attribute is the item's label and nothing
/// else, so that renaming an item in the desktop's keyring program renames it; a missing label is the empty
/// text there, an empty one "data:,". All functions are thread-safe; those that make something never fail.
namespace quelto::keychain {

/// What the keyring tells of an item, without its secret.
struct StoredItem {
  std::string path;
  /// Seconds since 1970, set by the keyring.
  std::uint64_t created = 0;
  /// A locked item comes without its attributes and label.
  bool isLocked = false;
  ItemClass itemClass = ItemClass::genericPassword;
  Attributes attributes;
};

/// What the keyring can match: class and attributes, type "a{ss}". It compares no labels. The schema, which
/// every item has, is left out: a locked collection that was never open does not match it.
[[nodiscard]] VariantOwner lookupAttributesOf(const ItemMatch& match);

/// The properties of a new item, type "a{sv}".
[[nodiscard]] VariantOwner propertiesOf(const Item& item);

/// Reads the properties ("a{sv}") of an item; absent when it is none of ours.
[[nodiscard]] std::optional<StoredItem> storedItemOf(const std::string& path, GVariant* properties);

/// Whether the item is of the class and has all of the attributes, its label included.
[[nodiscard]] bool fulfils(const StoredItem& item, const ItemMatch& match);

/// By creation. Within one second by the number that ends the path, which gnome-keyring counts up; in
/// keyrings that number otherwise the order is arbitrary there, but always the same.
[[nodiscard]] bool isOlder(const StoredItem& one, const StoredItem& other);

}  // namespace quelto::keychain
