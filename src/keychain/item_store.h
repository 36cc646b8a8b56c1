#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>

#include "keychain/os_status.h"
#include "platform/secrets/secret.h"

/// What the keychain asks of a place that keeps items. A place knows nothing of queries and constants: it
/// keeps items with attributes and finds them again by exact equality.
namespace quelto::keychain {

enum class ItemClass { genericPassword, internetPassword, key };

/// Attributes by their short names ("account", "server", ...); a value may be any bytes, NUL included. An
/// attribute that an item does not have is not in here.
using Attributes = std::map<std::string, std::string, std::less<>>;

/// The attribute that a desktop shows as an item's title.
inline constexpr const char* labelAttribute = "label";

struct Item {
  ItemClass itemClass = ItemClass::genericPassword;
  Attributes attributes;
  platform::Secret secret;
};

/// The items that a call means: of this class, with all of these attributes equal byte for byte. An attribute
/// that an item does not have equals none, not even an empty one.
struct ItemMatch {
  ItemClass itemClass = ItemClass::genericPassword;
  Attributes attributes;
};

/// The attributes in which two items of one class have to differ; there a missing one equals an empty one.
[[nodiscard]] std::span<const std::string_view> identityOf(ItemClass itemClass);

/// The value; empty when there is none.
[[nodiscard]] std::string_view valueOrEmpty(const Attributes& attributes, std::string_view name);

/// One place that keeps items. Of several matches the first is the oldest. Every call ends within 4 seconds,
/// whatever the place does, and answers with a status other than success when it cannot do what it was asked.
/// `errSecItemNotFound` is answered only when the place was reached, was open, and has no match. Thread-safe;
/// other processes may use the same place at the same time.
class ItemStore {
 public:
  ItemStore() = default;
  ItemStore(const ItemStore&) = delete;
  ItemStore& operator=(const ItemStore&) = delete;

  /// Sets `found` to the first match; its secret stays empty unless it is asked for.
  enum class Want { attributes, attributesAndSecret };
  [[nodiscard]] virtual OSStatus find(const ItemMatch& match, Want want, Item& found) = 0;

  /// Adds all the items or none. `errSecDuplicateItem` when there is one of the identity of any of them. The
  /// desktop's keyring cannot promise "or none" when the process or the keyring dies in between.
  [[nodiscard]] virtual OSStatus add(std::span<const Item> items) = 0;

  /// Replaces the secret of the first match, and nothing else.
  [[nodiscard]] virtual OSStatus updateSecret(const ItemMatch& match, const platform::Secret& secret) = 0;

  /// Removes the first match.
  [[nodiscard]] virtual OSStatus remove(const ItemMatch& match) = 0;

 protected:
  ~ItemStore() = default;
};

}  // namespace quelto::keychain
