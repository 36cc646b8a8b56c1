#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "keychain/item_store.h"

/// Calls of an item store as its tests make them, and what every place that keeps items has to do. A test
/// program with such a place compiles item_store_contract.cc in and says INSTANTIATE_TEST_SUITE_P(Name,
/// ItemStoreContract, Values(StoreKind...)).
namespace quelto::test {

using keychain::Attributes;
using keychain::Item;
using keychain::ItemClass;
using keychain::ItemMatch;
using keychain::ItemStore;
using keychain::OSStatus;

inline ItemMatch matchOf(const std::string& account) {
  return {ItemClass::genericPassword, {{"account", account}, {"service", "svn"}}};
}

/// An item whose secret tells whose it is.
inline Item itemOf(const std::string& account) {
  return {.itemClass = ItemClass::genericPassword,
          .attributes = {{"account", account}, {"service", "svn"}, {"label", "svn: " + account}},
          .secret = platform::Secret("secret of " + account)};
}

inline OSStatus addItem(ItemStore& store, const std::string& account) {
  const Item item = itemOf(account);
  return store.add({&item, 1});
}

/// Never success for an item that is not exactly as it was added.
inline OSStatus findItem(ItemStore& store, const std::string& account,
                         const std::optional<ItemMatch>& match = std::nullopt) {
  const Item expected = itemOf(account);
  Item found;
  const OSStatus status =
      store.find(match.value_or(matchOf(account)), ItemStore::Want::attributesAndSecret, found);
  const bool isWhole =
      found.secret.view() == expected.secret.view() && found.attributes == expected.attributes;
  return status != keychain::errSecSuccess || isWhole ? status : keychain::errSecParam;
}

/// The first match's secret, or "status " and the number.
inline std::string secretOf(ItemStore& store, const ItemMatch& match) {
  Item found;
  const OSStatus status = store.find(match, ItemStore::Want::attributesAndSecret, found);
  return status == keychain::errSecSuccess ? std::string(found.secret.view())
                                           : "status " + std::to_string(status);
}

/// The accounts of all such items, the oldest first. The items are removed.
inline std::vector<std::string> takeAccounts(ItemStore& store) {
  const ItemMatch any{ItemClass::genericPassword, {{"service", "svn"}}};
  std::vector<std::string> accounts;
  Item oldest;
  while (store.find(any, ItemStore::Want::attributes, oldest) == keychain::errSecSuccess &&
         store.remove(any) == keychain::errSecSuccess)
    accounts.push_back(oldest.attributes["account"]);
  return accounts;
}

inline ItemMatch halfOf(const std::string& identity, const std::string& half) {
  return {ItemClass::key, {{"tag", identity + "." + half}, {"keyclass", half}}};
}

/// Both halves of a key pair, whose secrets tell who made them.
inline std::array<Item, 2> pairOf(const std::string& identity, const std::string& maker) {
  const auto half = [&](const char* name) {
    return Item{.itemClass = ItemClass::key,
                .attributes = halfOf(identity, name).attributes,
                .secret = platform::Secret(maker)};
  };
  return {half("private"), half("public")};
}

inline OSStatus addPair(ItemStore& store, const std::string& identity, const std::string& maker) {
  return store.add(pairOf(identity, maker));
}

/// Who made the pair; "nobody" when there is neither half, "torn" when they do not belong together.
inline std::string makerOf(ItemStore& store, const std::string& identity) {
  const std::string maker = secretOf(store, halfOf(identity, "private"));
  if (secretOf(store, halfOf(identity, "public")) != maker) return "torn";
  return maker == "status " + std::to_string(keychain::errSecItemNotFound) ? "nobody" : maker;
}

/// What a store needs around it, and this process's environment names; no items at first.
class StoreSurroundings {
 public:
  StoreSurroundings() = default;
  virtual ~StoreSurroundings() = default;
  StoreSurroundings(const StoreSurroundings&) = delete;
  StoreSurroundings& operator=(const StoreSurroundings&) = delete;
  /// Nothing is left afterwards but what was kept.
  virtual void restart() {}
};

struct StoreKind {
  std::string name;
  std::function<std::unique_ptr<StoreSurroundings>()> surround;
  /// Opens the store that the environment names.
  std::function<std::shared_ptr<ItemStore>()> open;
};
inline std::ostream& operator<<(std::ostream& out, const StoreKind& kind) { return out << kind.name; }

class ItemStoreContract : public testing::TestWithParam<StoreKind> {
 protected:
  /// Tells this program that it is one of the processes of a test; its value is the process's name.
  static constexpr const char* isOneOfMany = "QUELTO_TEST_IS_ONE_OF_MANY";

  [[nodiscard]] ItemStore& store() { return *store_; }
  void restart() {
    around_->restart();
    store_ = GetParam().open();
  }

  [[nodiscard]] OSStatus add(ItemClass itemClass, Attributes attributes, std::string_view secret = "");
  [[nodiscard]] std::string secretOf(const ItemMatch& match) { return test::secretOf(store(), match); }

 private:
  std::unique_ptr<StoreSurroundings> around_ =
      std::getenv(isOneOfMany) == nullptr ? GetParam().surround() : nullptr;
  std::shared_ptr<ItemStore> store_ = GetParam().open();
};

}  // namespace quelto::test
