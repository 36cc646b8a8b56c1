#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "keychain/item_store.h"

/// What every place that keeps items has to do. A test program with such a place compiles
/// item_store_contract.cc in and says INSTANTIATE_TEST_SUITE_P(Name, ItemStoreContract,
/// Values(StoreKind...)).
namespace quelto::test {

struct StoreKind {
  std::string name;
  /// Makes a store without items. The pointer also owns whatever the store needs around it.
  std::function<std::shared_ptr<keychain::ItemStore>()> make;
};
inline std::ostream& operator<<(std::ostream& out, const StoreKind& kind) { return out << kind.name; }

class ItemStoreContract : public testing::TestWithParam<StoreKind> {
 protected:
  [[nodiscard]] keychain::ItemStore& store() { return *store_; }

  [[nodiscard]] keychain::OSStatus add(keychain::ItemClass itemClass, keychain::Attributes attributes,
                                       std::string_view secret = "");

  /// The first match's secret, or "status " and the number.
  [[nodiscard]] std::string secretOf(const keychain::ItemMatch& match);

 private:
  std::shared_ptr<keychain::ItemStore> store_ = GetParam().make();
};

}  // namespace quelto::test
