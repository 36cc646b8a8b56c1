#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "tests/keychain/store_calls.h"

/// What every place that keeps items has to do. A test program with such a place compiles
/// item_store_contract.cc in and says INSTANTIATE_TEST_SUITE_P(Name, ItemStoreContract,
/// Values(StoreKind...)).
namespace quelto::test {

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
