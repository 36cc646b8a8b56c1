#include "ui/localized_strings.h"

#include <gtest/gtest.h>

#include <barrier>
#include <thread>
#include <vector>

#include "platform/resources/bundle_strings.h"
#include "tests/support/temporary_folder.h"

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

}  // namespace
}  // namespace quelto::ui
