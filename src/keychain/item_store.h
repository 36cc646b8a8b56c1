#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "keychain/os_status.h"
#include "platform/secrets/secret.h"

/// What the keychain asks of a place that keeps items. A place knows nothing of queries and constants; it
/// keeps items with attributes and finds them again by exact equality.
namespace quelto::platform::keychain {

enum class ItemClass { genericPassword, internetPassword, key };

/// Attributes by their short names ("account", "server", ...), the values as text or any bytes, NUL included.
/// An attribute that an item does not have is not in here.
using Attributes = std::map<std::string, std::string, std::less<>>;

/// The one attribute that a desktop shows as an item's title.
inline constexpr const char* labelAttribute = "label";

struct Item {
  ItemClass itemClass = ItemClass::genericPassword;
  Attributes attributes;
  Secret secret;
};

/// The items that a call means: of this class, with all of these attributes equal byte for byte.
struct ItemMatch {
  ItemClass itemClass = ItemClass::genericPassword;
  Attributes attributes;
};

enum class HowMany { first, all };

/// One place that keeps items. Of several matches the first is the oldest. Every call ends within 4 seconds,
/// whatever the place does, and answers with a status other than success when it cannot do what it was asked;
/// no call creates what was there before and is gone. `errSecItemNotFound` is answered only when the place
/// was reached, was open, and has no match. Thread-safe; other processes may use the same place at the same
/// time.
class ItemStore {
 public:
  ItemStore() = default;
  virtual ~ItemStore() = default;
  ItemStore(const ItemStore&) = delete;
  ItemStore& operator=(const ItemStore&) = delete;

  /// Sets `found` to the first match; its secret stays empty unless it is asked for.
  enum class Want { attributes, attributesAndSecret };
  [[nodiscard]] virtual OSStatus find(const ItemMatch& match, Want want, Item& found) = 0;

  /// Adds an item. `errSecDuplicateItem` when there is one of its class that equals it in all attributes
  /// named in `identity`; an attribute that is missing equals an empty one there.
  [[nodiscard]] virtual OSStatus add(const Item& item, const std::vector<std::string>& identity) = 0;

  /// Replaces the secret, and nothing else, of the first match or of all.
  [[nodiscard]] virtual OSStatus updateSecret(const ItemMatch& match, HowMany howMany,
                                              const Secret& secret) = 0;

  /// Success only when at least one item has gone.
  [[nodiscard]] virtual OSStatus remove(const ItemMatch& match, HowMany howMany) = 0;
};

}  // namespace quelto::platform::keychain
