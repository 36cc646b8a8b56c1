#include "keychain/embedded/stored_item.h"

#include "keychain/embedded/attribute_bytes.h"
#include "keychain/embedded/database.h"
#include "keychain/embedded/failure.h"
#include "keychain/embedded/sealing.h"

namespace quelto::keychain::embedded {
namespace {

constexpr std::string_view itemContext = "quelto keychain 1 item";

/// What the row's secret is sealed for.
std::string bindingOf(const StoredItem& item) {
  std::string binding(itemContext);
  const auto id = static_cast<std::uint64_t>(item.id);
  for (unsigned shift = 64; shift > 0;) binding += static_cast<char>(id >> (shift -= 8) & 0xFFU);
  binding += static_cast<char>(numberOf(item.itemClass));
  return binding + item.attributeBytes;
}

std::optional<ItemClass> classWith(std::int64_t number) {
  for (const auto itemClass : {ItemClass::genericPassword, ItemClass::internetPassword, ItemClass::key}) {
    if (numberOf(itemClass) == number) return itemClass;
  }
  return std::nullopt;
}

void sealInto(Database& database, const platform::Secret& key, const StoredItem& item,
              const platform::Secret& secret) {
  const std::string sealed = seal(key, secret.view(), bindingOf(item));
  if (database.run("UPDATE item SET sealed = ? WHERE id = ?", sealed, item.id) != 1) throw Failure(errSecIO);
}

}  // namespace

std::int64_t numberOf(ItemClass itemClass) {
  // Written out, since the numbers are in files.
  switch (itemClass) {
    case ItemClass::genericPassword:
      return 1;
    case ItemClass::internetPassword:
      return 2;
    case ItemClass::key:
      return 3;
  }
  throw Failure(errSecParam);
}

std::optional<StoredItem> loadItem(Database& database, std::int64_t id) {
  Statement row = database.query("SELECT class, attributes FROM item WHERE id = ?", id);
  if (!row.step()) return std::nullopt;
  const auto itemClass = classWith(row.integer(0));
  auto attributes = attributesFrom(row.bytes(1));
  if (!itemClass || !attributes) return std::nullopt;
  return StoredItem{.id = id,
                    .itemClass = *itemClass,
                    .attributeBytes = std::string(row.bytes(1)),
                    .attributes = std::move(*attributes)};
}

platform::Secret openSecret(Database& database, const platform::Secret& key, const StoredItem& item) {
  Statement row = database.query("SELECT sealed FROM item WHERE id = ?", item.id);
  if (!row.step()) throw Failure(errSecAuthFailed);
  return unseal(key, row.bytes(0), bindingOf(item));
}

bool isIntact(Database& database, const platform::Secret& key, const StoredItem& item) try {
  static_cast<void>(openSecret(database, key, item));
  return true;
} catch (const Failure& failure) {
  if (failure.status() != errSecAuthFailed) throw;
  return false;
}

StoredItem insertItem(Database& database, const platform::Secret& key, const Item& item) {
  StoredItem stored{.id = 0,
                    .itemClass = item.itemClass,
                    .attributeBytes = bytesOf(item.attributes),
                    .attributes = item.attributes};
  database.run("INSERT INTO item(class, attributes, sealed) VALUES(?, ?, x'')", numberOf(item.itemClass),
               stored.attributeBytes);
  stored.id = database.lastRow();
  sealInto(database, key, stored, item.secret);
  return stored;
}

void replaceSecret(Database& database, const platform::Secret& key, const StoredItem& item,
                   const platform::Secret& secret) {
  // SECURITY: a row whose attributes were exchanged would otherwise be sealed anew as if they were ours.
  static_cast<void>(openSecret(database, key, item));
  sealInto(database, key, item, secret);
}

void deleteItem(Database& database, std::int64_t id) { database.run("DELETE FROM item WHERE id = ?", id); }

}  // namespace quelto::keychain::embedded
