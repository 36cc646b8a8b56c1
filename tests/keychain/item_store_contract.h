#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "keychain/item_store.h"

/// What every place that keeps items has to do, the same for all of them. A test program that has such a
/// place compiles item_store_contract.cc in and says INSTANTIATE_TEST_SUITE_P(Name, ItemStoreContract,
/// Values(...)).
namespace quelto::test {

/// A store that is empty at first, with all that it needs around it.
class StoreUnderTest {
 public:
  StoreUnderTest() = default;
  virtual ~StoreUnderTest() = default;
  StoreUnderTest(const StoreUnderTest&) = delete;
  StoreUnderTest& operator=(const StoreUnderTest&) = delete;

  [[nodiscard]] virtual keychain::ItemStore& store() = 0;
};

struct StoreKind {
  std::string name;
  std::function<std::unique_ptr<StoreUnderTest>()> make;
};
inline std::ostream& operator<<(std::ostream& out, const StoreKind& kind) { return out << kind.name; }

class ItemStoreContract : public testing::TestWithParam<StoreKind> {
 protected:
  [[nodiscard]] keychain::ItemStore& store() { return underTest_->store(); }

  /// The first match's secret, or "status " and the number.
  [[nodiscard]] std::string secretOf(const keychain::ItemMatch& match);

 private:
  std::unique_ptr<StoreUnderTest> underTest_ = GetParam().make();
};

}  // namespace quelto::test
