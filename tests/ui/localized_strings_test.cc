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
                  "all = deT; deT = deT; own = own; joined = \"join \\\n ed\"; long = \"a \\\n \t\r\n "
                  "b\\\nc\"; twice = \"a \\\\\n b "
                  "\\\n\\\n c\";");
    folder_.write("de.lproj/Localizable.strings", "all = deD; deD = deD;");
    folder_.write("fr.lproj/T.strings", "all = frT;");
    folder_.write("fr.lproj/Other.strings", "other = frO;");
  }
  void TearDown() override {
    globalCustomLanguage.reset();
    defaultGlobalLocalizedTable = "";
  }

  [[nodiscard]] std::string text(std::string_view name, std::string_view table,
                                 std::string_view value = "") const {
    return localizedString(system_, name, table, value);
  }

  test::TemporaryFolder folder_;
  platform::BundleStrings system_{folder_.path(), "de"};
};

TEST_F(LocalizedString, SearchesTheChainOfTables) {
  struct Row {
    std::optional<std::string> language;
    const char* table;
    const char* name;
    const char* text;
  };
  const Row rows[] = {
      {{}, "T", "all", "deT"},
      {{}, "T", "deD", "deD"},
      {{}, "T", "enT", "enT"},
      {{}, "T", "enD", "enD"},
      {{}, "", "all", "deD"},
      {{}, "", "enD", "enD"},
      {{}, "", "enT", "(default)"},
      {{}, "T", "no", "(default)"},
      {"", "T", "all", "deT"},
      {"fr", "T", "all", "frT"},
      {"fr", "T", "deT", "(default)"},
      {"fr", "T", "enD", "enD"},
      {"fr", "", "all", "enD"},
      {"xx", "T", "all", "enT"},
      {"../../x", "T", "all", "enT"},
      {{}, "../fr.lproj/T", "all", "frT"},
      {"fr", "../en.lproj/T", "all", "enT"},
      {"fr", "../fr.lproj/T", "enT", "(default)"},
      {{}, ".hidden", "all", "(default)"},
      {{}, "T", "", "(default)"},
  };
  for (const Row& row : rows) {
    globalCustomLanguage = row.language;
    EXPECT_EQ(text(row.name, row.table, "(default)"), row.text) << row.table << " " << row.name;
  }
}

TEST_F(LocalizedString, TheDefaultTableCanBeAnotherOne) {
  defaultGlobalLocalizedTable = "Other";
  EXPECT_EQ(text("deD", "T", "(default)"), "(default)");
  globalCustomLanguage = "fr";
  EXPECT_EQ(text("other", "T", "(default)"), "frO");
}

TEST_F(LocalizedString, TellsAMissingEntryFromOneThatEqualsItsDefaultOrKey) {
  EXPECT_EQ(text("all", "T", "deT"), "deT") << "found here, so no other table is asked";
  EXPECT_EQ(text("own", "T", ""), "") << "an entry equal to its key counts as missing";
  EXPECT_EQ(text("own", "T", "(default)"), "own") << "unless there is a default";
  EXPECT_EQ(text("no", "T", ""), "");
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

TEST_F(LocalizedString, JoinsContinuedLines) {
  EXPECT_EQ(text("joined", "T", "joined"), "joined")
      << "the entry itself is no key, so no other table is asked";
  EXPECT_EQ(text("long", "T"), "ab\\\nc");
  EXPECT_EQ(text("twice", "T"), "ab\\\n c");
}

}  // namespace
}  // namespace quelto::ui
