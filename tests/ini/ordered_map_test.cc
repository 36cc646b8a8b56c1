#include "ini/ordered_map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace quelto::ini {
namespace {

using Map = OrderedMap<int>;
using Model = std::vector<std::pair<std::string, int>>;

Model entriesOf(const Map& map) {
  Model entries;
  for (const auto& [name, value] : map) entries.emplace_back(name, value);
  return entries;
}

TEST(OrderedMap, DoesWhatAListWouldDo) {
  std::minstd_rand random(1);
  for (const unsigned names : {3U, 40U, 3000U}) {
    Map map;
    Model model;
    for (int step = 0; step < 4000; ++step) {
      const std::string name = "name" + std::to_string(random() % names);
      const auto known = std::ranges::find(model, name, &Model::value_type::first);
      ASSERT_EQ(map.find(name) != nullptr, known != model.end());
      if (random() % 3 != 0) {
        map[name] = step;
        if (known == model.end()) {
          model.emplace_back(name, step);
        } else {
          known->second = step;
        }
      } else if (random() % 100 == 0) {
        const auto isOdd = [](int value) { return value % 2 == 1; };
        const std::size_t erased = map.eraseIf([&](const Map::Entry& entry) { return isOdd(entry.value); });
        EXPECT_EQ(erased, std::erase_if(model, [&](const auto& entry) { return isOdd(entry.second); }));
      } else {
        EXPECT_EQ(map.erase(name), known != model.end());
        if (known != model.end()) model.erase(known);
      }
    }
    EXPECT_EQ(entriesOf(map), model) << names << " names";
  }
}

}  // namespace
}  // namespace quelto::ini
