#include "keychain/embedded/item_table.h"

#include <algorithm>

#include "keychain/embedded/attribute_bytes.h"
#include "keychain/embedded/database.h"
#include "keychain/embedded/failure.h"

namespace quelto::keychain::embedded {
namespace {

constexpr std::string_view itemContext = "quelto keychain 1 item";

/// How a class is stored.
std::int64_t numberOf(ItemClass itemClass) {
  // Written out, since the numbers are in files.
  switch (itemClass) {
    case ItemClass::genericPassword:
      return 1;
    case ItemClass::internetPassword:
      return 2;
    case ItemClass::key:
      break;
  }
  return 3;
}

/// The attribute that has a column.
std::string_view mainAttributeOf(ItemClass itemClass) {
  switch (itemClass) {
    case ItemClass::genericPassword:
      return "service";
    case ItemClass::internetPassword:
      return "server";
    case ItemClass::key:
      break;
  }
  return "tag";
}

std::optional<std::string_view> mainValueOf(const ItemMatch& match) {
  const auto main = match.attributes.find(mainAttributeOf(match.itemClass));
  return main != match.attributes.end() ? std::optional<std::string_view>(main->second) : std::nullopt;
}

std::string_view valueIn(const AttributeViews& attributes, std::string_view name) {
  const auto found = std::ranges::find(attributes, name, &AttributeViews::value_type::first);
  return found != attributes.end() ? found->second : std::string_view();
}

/// What an item's secret is sealed for.
std::string bindingOf(std::int64_t id, ItemClass itemClass, std::string_view attributeBytes) {
  std::string binding;
  binding.reserve(itemContext.size() + sizeof id + 1 + attributeBytes.size());
  binding += itemContext;
  const auto number = static_cast<std::uint64_t>(id);
  for (unsigned shift = 64; shift > 0;) binding += static_cast<char>(number >> (shift -= 8) & 0xFFU);
  binding += static_cast<char>(numberOf(itemClass));
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
        class_(numberOf(itemClass)),
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
    return main_ && *main_ != valueIn(row.attributes, mainAttributeOf(itemClass_));
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

template <typename IsMeant>
std::optional<OpenedItem> ItemTable::oldest(ItemClass itemClass, std::optional<std::string_view> main,
                                            const IsMeant& isMeant) {
  Row row;
  for (Rows rows(database_, itemClass, main); rows.next(row);) {
    if (!row.isReadable || !isMeant(row.attributes)) continue;
    // SECURITY: whoever alters a row could have its secret sent to another host, or the next secret that is
    // saved sealed for what they wrote.
    if (auto secret = opened(itemClass, row)) {
      return OpenedItem{.id = row.id,
                        .item = {.itemClass = itemClass,
                                 .attributes = Attributes(row.attributes.begin(), row.attributes.end()),
                                 .secret = std::move(*secret)}};
    }
  }
  return std::nullopt;
}

std::optional<OpenedItem> ItemTable::oldest(const ItemMatch& match) {
  return oldest(match.itemClass, mainValueOf(match), [&](const AttributeViews& attributes) {
    // Both are in the order of the names.
    return std::ranges::includes(attributes, match.attributes, {}, {}, [](const auto& asked) {
      return AttributeViews::value_type(asked.first, asked.second);
    });
  });
}

std::optional<OpenedItem> ItemTable::find(const ItemMatch& match) {
  auto item = oldest(match);
  if (item) return item;
  Row row;
  for (Rows rows(database_, match.itemClass, mainValueOf(match)); rows.next(row);)
    if (!opened(match.itemClass, row) || rows.isMisfiled(row)) throw Failure(errSecAuthFailed);
  return std::nullopt;
}

bool ItemTable::hasIdentityOf(const Item& item) {
  const auto isSame = [&](const AttributeViews& attributes) {
    return std::ranges::all_of(identityOf(item.itemClass), [&](std::string_view name) {
      return valueIn(attributes, name) == valueOrEmpty(item.attributes, name);
    });
  };
  return oldest(item.itemClass, valueOrEmpty(item.attributes, mainAttributeOf(item.itemClass)), isSame)
      .has_value();
}

void ItemTable::insert(const Item& item) {
  const std::string attributeBytes = bytesOf(item.attributes);
  database_.run("INSERT INTO item(class, main, attributes, sealed) VALUES(?, ?, ?, x'')",
                numberOf(item.itemClass), valueOrEmpty(item.attributes, mainAttributeOf(item.itemClass)),
                attributeBytes);
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
  const auto item = oldest(match);
  std::optional<std::int64_t> id = item ? std::optional(item->id) : std::nullopt;
  Row row;
  for (Rows rows(database_, match.itemClass, mainValueOf(match)); !id && rows.next(row);) {
    if (!opened(match.itemClass, row)) {
      id = row.id;
    } else if (rows.isMisfiled(row)) {
      database_.run("UPDATE item SET main = ? WHERE id = ?",
                    valueIn(row.attributes, mainAttributeOf(match.itemClass)), row.id);
    }
  }
  return id && database_.run("DELETE FROM item WHERE id = ?", *id) == 1;
}

}  // namespace quelto::keychain::embedded
