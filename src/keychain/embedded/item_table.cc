#include "keychain/embedded/item_table.h"

#include <algorithm>

#include "keychain/embedded/attribute_bytes.h"
#include "keychain/embedded/database.h"
#include "keychain/embedded/failure.h"

namespace quelto::keychain::embedded {
namespace {

constexpr std::string_view itemContext = "quelto keychain 1 item";

/// How a class is stored: under its number, with a column for the attribute.
struct StoredClass {
  std::int64_t number;
  std::string_view mainAttribute;
};

StoredClass stored(ItemClass itemClass) {
  // The numbers are in files.
  switch (itemClass) {
    case ItemClass::genericPassword:
      return {.number = 1, .mainAttribute = "service"};
    case ItemClass::internetPassword:
      return {.number = 2, .mainAttribute = "server"};
    case ItemClass::key:
      break;
  }
  return {.number = 3, .mainAttribute = "tag"};
}

/// Absent when the match leaves it open.
std::optional<std::string_view> mainValueOf(const ItemMatch& match) {
  const auto main = match.attributes.find(stored(match.itemClass).mainAttribute);
  return main != match.attributes.end() ? std::optional<std::string_view>(main->second) : std::nullopt;
}

std::string_view mainValueOf(const Item& item) {
  return valueOrEmpty(item.attributes, stored(item.itemClass).mainAttribute);
}

std::string_view valueIn(const AttributeViews& attributes, std::string_view name) {
  const auto found = std::ranges::find(attributes, name, &AttributeViews::value_type::first);
  return found != attributes.end() ? found->second : std::string_view();
}

bool isMatch(const AttributeViews& attributes, const ItemMatch& match) {
  // Both are in the order of the names.
  return std::ranges::includes(attributes, match.attributes, {}, {}, [](const auto& asked) {
    return AttributeViews::value_type(asked.first, asked.second);
  });
}

/// What an item's secret is sealed for.
std::string bindingOf(std::int64_t id, ItemClass itemClass, std::string_view attributeBytes) {
  std::string binding;
  binding.reserve(itemContext.size() + sizeof id + 1 + attributeBytes.size());
  binding += itemContext;
  const auto number = static_cast<std::uint64_t>(id);
  for (unsigned shift = 64; shift > 0;) binding += static_cast<char>(number >> (shift -= 8) & 0xFFU);
  binding += static_cast<char>(stored(itemClass).number);
  return binding += attributeBytes;
}

}  // namespace

/// Valid until the next row is read.
struct ItemTable::Row {
  std::int64_t id = 0;
  std::string_view attributeBytes;
  std::string_view sealed;
  bool isReadable = false;
  AttributeViews attributes;
};

/// The rows that a match is looked for in, oldest first.
class ItemTable::Rows {
 public:
  Rows(Database& database, ItemClass itemClass, std::optional<std::string_view> main)
      : itemClass_(itemClass),
        class_(stored(itemClass).number),
        main_(main),
        // The "+" keeps the index out, which has the rows in another order.
        statement_(main_ ? database.query("SELECT id, attributes, sealed FROM item"
                                          " WHERE class = ? AND main = ? ORDER BY id",
                                          class_, *main_)
                         : database.query("SELECT id, attributes, sealed FROM item"
                                          " WHERE +class = ? ORDER BY id",
                                          class_)) {}

  [[nodiscard]] bool next(Row& row) {
    if (!statement_.step()) return false;
    row.id = statement_.integer(0);
    row.attributeBytes = statement_.bytes(1);
    row.sealed = statement_.bytes(2);
    row.isReadable = readAttributes(row.attributeBytes, row.attributes);
    return true;
  }

  /// Whether a readable row is here although its attributes say another value.
  [[nodiscard]] bool isMisfiled(const Row& row) const {
    return main_ && *main_ != valueIn(row.attributes, stored(itemClass_).mainAttribute);
  }

 private:
  ItemClass itemClass_;
  std::int64_t class_;
  std::optional<std::string_view> main_;
  Statement statement_;
};

std::optional<platform::Secret> ItemTable::opened(ItemClass itemClass, const Row& row) {
  if (!row.isReadable) return std::nullopt;
  return key_.unseal(row.sealed, bindingOf(row.id, itemClass, row.attributeBytes));
}

std::optional<OpenedItem> ItemTable::find(const ItemMatch& match) {
  bool isDamageSeen = false;
  Row row;
  for (Rows rows(database_, match.itemClass, mainValueOf(match)); rows.next(row);) {
    // SECURITY: whoever alters a row could have its secret sent to another host, or the next secret that is
    // saved sealed for what they wrote.
    auto secret = opened(match.itemClass, row);
    if (secret && isMatch(row.attributes, match)) {
      return OpenedItem{.id = row.id,
                        .item = {.itemClass = match.itemClass,
                                 .attributes = Attributes(row.attributes.begin(), row.attributes.end()),
                                 .secret = std::move(*secret)}};
    }
    isDamageSeen |= !secret || rows.isMisfiled(row);
  }
  if (isDamageSeen) throw Failure(errSecAuthFailed);
  return std::nullopt;
}

bool ItemTable::hasIdentityOf(const Item& item) {
  const auto identity = identityOf(item.itemClass);
  Row row;
  for (Rows rows(database_, item.itemClass, mainValueOf(item)); rows.next(row);) {
    const bool isSame = row.isReadable && std::ranges::all_of(identity, [&](std::string_view name) {
                          return valueIn(row.attributes, name) == valueOrEmpty(item.attributes, name);
                        });
    if (isSame && opened(item.itemClass, row)) return true;
  }
  return false;
}

void ItemTable::insert(const Item& item) {
  const std::string attributeBytes = bytesOf(item.attributes);
  database_.run("INSERT INTO item(class, main, attributes, sealed) VALUES(?, ?, ?, x'')",
                stored(item.itemClass).number, mainValueOf(item), attributeBytes);
  const std::int64_t id = database_.lastRow();
  sealInto(id, bindingOf(id, item.itemClass, attributeBytes), item.secret);
}

void ItemTable::replaceSecret(const OpenedItem& opened, const platform::Secret& secret) {
  const auto& [id, item] = opened;
  sealInto(id, bindingOf(id, item.itemClass, bytesOf(item.attributes)), secret);
}

void ItemTable::sealInto(std::int64_t id, const std::string& binding, const platform::Secret& secret) {
  const std::string sealed = key_.seal(secret.view(), binding);
  if (database_.run("UPDATE item SET sealed = ? WHERE id = ?", sealed, id) != 1) throw Failure(errSecIO);
}

bool ItemTable::remove(const ItemMatch& match) {
  std::optional<std::int64_t> matching;
  std::optional<std::int64_t> altered;
  Row row;
  for (Rows rows(database_, match.itemClass, mainValueOf(match)); !matching && rows.next(row);) {
    if (!opened(match.itemClass, row)) {
      if (!altered) altered = row.id;
    } else if (isMatch(row.attributes, match)) {
      matching = row.id;
    } else if (rows.isMisfiled(row)) {
      database_.run("UPDATE item SET main = ? WHERE id = ?",
                    valueIn(row.attributes, stored(match.itemClass).mainAttribute), row.id);
    }
  }
  const auto id = matching ? matching : altered;
  return id && database_.run("DELETE FROM item WHERE id = ?", *id) == 1;
}

}  // namespace quelto::keychain::embedded
