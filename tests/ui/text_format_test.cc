#include "ui/text_format.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace quelto::ui {
namespace {

TEST(Formatted, FillsPlaceholdersAndNeverFails) {
  const std::array<std::string, 2> arguments{"one", "%2$@"};
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"plain", "plain"},
      {"", ""},
      {"%@ and %@", "one and %2$@"},
      {"%2$@-%1$@-%1$@", "%2$@-one-one"},
      {"%1$@ %@ %2$@ %@ %@.", "one one %2$@ %2$@ ."},
      {"100 %% %%@", "100 % %@"},
      {"%", "%"},
      {"50%", "50%"},
      {"%d %1$d %$@ %1 %1$", "%d %1$d %$@ %1 %1$"},
      {"[%0$@][%3$@][%99999999999999999999999$@]", "[][][]"},
      {"%-1$@ %+1$@", "%-1$@ %+1$@"},
      {"\xFF%@\xC3", "\xFFone\xC3"},
  };
  for (const auto& [format, text] : rows) EXPECT_EQ(formatted(format, arguments), text) << format;
  EXPECT_EQ(formatted("%@%1$@", {}), "");
}

TEST(Formatted, IsBoundedAndCutsNoScalar) {
  std::string letters = "a";
  while (letters.size() < maximumFormattedSize) letters += "\u00E9";
  const std::vector<std::string> arguments{letters};
  EXPECT_EQ(formatted("%@", arguments), letters.substr(0, maximumFormattedSize - 1));
  EXPECT_EQ(formatted("b%@", arguments).size(), maximumFormattedSize) << "all that fits";
  std::string format;
  for (int count = 0; count < 100000; ++count) format += "%1$@";
  EXPECT_EQ(formatted(format, arguments), letters.substr(0, maximumFormattedSize - 1));
}

}  // namespace
}  // namespace quelto::ui
