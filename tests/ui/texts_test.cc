#include <gtest/gtest.h>

#include <array>
#include <barrier>
#include <thread>
#include <vector>

#include "platform/resources/bundle_strings.h"
#include "tests/support/temporary_folder.h"
#include "ui/localized_strings.h"
#include "ui/text_format.h"

namespace quelto::ui {
namespace {

/// Tables whose entries name the language and the table.
class LocalizedString : public testing::Test {
 protected:
  LocalizedString() {
    folder_.write("en.lproj/T.strings", "all = enT; joined = enT; enT = enT; own = own; \"\" = empty;");
    folder_.write("en.lproj/Localizable.strings", "all = enD; enD = enD;");
    folder_.write("de.lproj/T.strings",
                  "all = deT; deT = deT; own = own; joined = \"join \\\n ed\"; "
                  "long = \"a \\\n \t\r\n b\\\nc\"; twice = \"a \\\\\n b \\\n\\\n c\";");
    folder_.write("de.lproj/Localizable.strings", "all = deD; deD = deD;");
    folder_.write("fr.lproj/T.strings", "all = frT;");
    folder_.write("fr.lproj/Other.strings", "other = frO;");
  }
  void TearDown() override {
    globalCustomLanguage.reset();
    defaultGlobalLocalizedTable = "";
  }

  test::TemporaryFolder folder_;
  platform::BundleStrings system_{folder_.path(), "de"};
};

TEST_F(LocalizedString, SearchesTheChainOfTables) {
  constexpr const char* none = "(default)";
  const struct {
    std::optional<std::string> language;
    const char *table, *name, *text, *value = none, *defaultTable = "";
  } rows[] = {
      {{}, "T", "all", "deT"},
      {{}, "T", "deD", "deD"},
      {{}, "T", "enT", "enT"},
      {{}, "T", "enD", "enD"},
      {{}, "", "all", "deD"},
      {{}, "", "enD", "enD"},
      {{}, "", "enT", none},
      {{}, "T", "no", none},
      {"", "T", "all", "deT"},
      {"fr", "T", "all", "frT"},
      {"fr", "T", "deT", none},
      {"fr", "T", "enD", "enD"},
      {"fr", "", "all", "enD"},
      {"xx", "T", "all", "enT"},
      {"../../x", "T", "all", "enT"},
      {{}, "../fr.lproj/T", "all", "frT"},
      {"fr", "../en.lproj/T", "all", "enT"},
      {"fr", "../fr.lproj/T", "enT", none},
      {{}, ".hidden", "all", none},
      {{}, "T", "", none},
      {{}, "T", "deD", none, none, "Other"},
      {"fr", "T", "other", "frO", none, "Other"},
      // An entry that equals its default is found, so that no other table is asked; one that equals its key
      // is missing, unless there is a default.
      {{}, "T", "all", "deT", "deT"},
      {{}, "T", "own", "", ""},
      {{}, "T", "own", "own"},
      {{}, "T", "no", "", ""},
      // Continued lines are joined, which makes no key of the entry.
      {{}, "T", "joined", "joined", "joined"},
      {{}, "T", "long", "ab\\\nc"},
      {{}, "T", "twice", "ab\\\n c"},
  };
  for (const auto& [language, table, name, text, value, defaultTable] : rows) {
    globalCustomLanguage = language;
    defaultGlobalLocalizedTable = defaultTable;
    EXPECT_EQ(localizedString(system_, name, table, value), text) << table << " " << name;
  }
}

TEST_F(LocalizedString, IsFoundByManyThreadsAtOnce) {
  constexpr int threadCount = 4;
  for (int round = 0; round < 20; ++round) {
    const platform::BundleStrings fresh(folder_.path(), "de");
    std::barrier start(threadCount);
    std::vector<std::jthread> threads;
    for (int number = 0; number < threadCount; ++number) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        for (const char* name : {"enD", "deT"})
          EXPECT_EQ(localizedString(fresh, name, "T", "(default)"), name);
      });
    }
  }
}

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
