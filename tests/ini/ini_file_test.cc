#include "ini/ini_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/new_process.h"
#include "tests/support/temporary_folder.h"

namespace quelto::ini {
namespace {

TEST(IniFile, IsReadOrSaysWhyNot) {
  const struct {
    const char* name;
    /// Run in a folder where "file" holds an entry.
    const char* command;
    bool error;
    bool isMissing = false;
  } rows[] = {
      {"as it was made", ":", false},
      {"empty", ": >file", false},
      {"a link", "mv file f && ln -s f file", false},
      {"missing", "rm file", true, true},
      {"a link to nothing", "mv file f && ln -s g file", true, true},
      {"not UTF-8", "printf '\\303' >>file", true},
      {"for all to write", "chmod 666 file", true},
      {"not for us to read", "chmod 0 file", true},
      {"a FIFO", "rm file && mkfifo file", true},
      {"the largest", "truncate -s 16777216 file", false},
      {"too large", "truncate -s 16777217 file", true},
  };
  for (const auto& row : rows) {
    const test::TemporaryFolder folder;
    const std::string path = folder.write("file", "[s]\nk=v\n");
    ASSERT_EQ(std::system(("cd " + folder.path() + " && " + row.command).c_str()), 0) << row.name;
    // As an ordinary user: root may read whatever it likes.
    EXPECT_TRUE(test::holdsAsOrdinaryUser(folder.path(), [&] {
      IniFile file(path);
      return file.error() == row.error && file.reload() == row.error && file.isMissing() == row.isMissing &&
             (file.values.empty() || !row.error);
    })) << row.name;
  }
  EXPECT_TRUE(IniFile("").isMissing());
  EXPECT_FALSE(IniFile(std::string("a\0b", 3)).isMissing());
}

TEST(IniFile, ReadsAgainWhatIsAssigned) {
  const test::TemporaryFolder folder;
  const std::string second = folder.write("second", "\xEF\xBB\xBF[Main]\nnovalue\n");
  std::ostringstream rejected;
  IniFile file(folder.write("first", "[Main]\nKey = Yes\nx"), true,
               [&](IniError error, const std::string& name, std::int64_t index, std::string_view line) {
                 rejected << rawValue(error) << " " << name << " " << index << " " << line << "\n";
               });
  EXPECT_THAT(file.readSections(), testing::ElementsAre("main"));
  file.values["more"]["k"] = "v";
  file.setIgnoreCase(false);
  EXPECT_THAT(file.readSections(), testing::ElementsAre("Main"));
  EXPECT_EQ(file.readAll({"[Other]", "y"}).begin()->name, "Other");
  EXPECT_NE(file.values.find("Main"), nullptr) << "readAll leaves the values";
  file.setFile(second);
  EXPECT_EQ(file.values.find("Main")->size(), 0U) << "behind a byte-order mark";
  file.onError = {};
  EXPECT_FALSE(file.reload());
  const std::string first = folder.path("first");
  EXPECT_EQ(rejected.str(), "invalid_line " + first + " 2 x\n" + "invalid_line " + first + " 2 x\n" +
                                "invalid_line " + first + " 1 y\n" + "invalid_line " + second +
                                " 1 novalue\n");
}

TEST(IniFile, IsSavedAndReadInOneOrder) {
  const test::TemporaryFolder folder;
  const std::string path = folder.path("file");
  IniFile file(path);
  file.values["z"]["k"] = std::string(200, 'v');
  file.values["a"]["l"] = " spaces ";
  file.values["a"]["b"] = std::string(4, '\0');
  file.values["m"] = {};
  ASSERT_TRUE(file.saveAll(120, "Head"));
  IniFile again(path);
  EXPECT_EQ(again.values, file.values);
  again.values["new"]["k"] = "v";
  (void)again.values.erase("a");
  ASSERT_TRUE(again.saveAll(std::nullopt, ""));
  EXPECT_EQ(test::contentOf(path), "[z]\nk = " + std::string(200, 'v') + "\n\n[m]\n\n[new]\nk = v\n\n");
  again.values = {};
  ASSERT_TRUE(again.saveAll(120, ""));
  EXPECT_EQ(test::contentOf(path), "");
}

TEST(IniFile, IsNotReplacedByWhatCouldNotBeRead) {
  const test::TemporaryFolder folder;
  IniFile file(folder.write("file", "[s]\nk = v\n"));
  for (const std::string& value : {std::string("\xC3"), std::string(IniFile::maximumFileSize - 9, 'v')}) {
    file.values["s"]["k"] = value;
    EXPECT_FALSE(file.saveAll(std::nullopt, ""));
    EXPECT_TRUE(test::contentOf(file.file()) == "[s]\nk = v\n");
  }
}

TEST(IniFile, TellsThatValuesAreCut) {
  const test::TemporaryFolder folder;
  const struct {
    const char* name;
    const char* command;
    bool isCut;
  } rows[] = {
      {"as saved", ":", false},
      {"CR LF", "sed -i 's/$/\\r/' file", true},
      {"CR LF and nothing wrapped", "sed -i '/password/d; /^ /d; s/$/\\r/' file", false},
      {"CR", "tr '\\n' '\\r' <file >f && mv f file", false},
      {"blank lines added", "sed -i 's/$/\\n/' file", true},
      {"cut after a piece", "head -n 3 file >f && mv f file", false},
      {"a first piece without its caret", "sed -i '0,/ ^$/s///' file", true},
      {"only the last piece left", "sed -i '/ ^$/d' file", true},
      {"a comment between pieces", "sed -i '/password/a # c' file", true},
      {"keys in quotes", "sed -i 's/^\\([a-z]*\\) =/\"\\1\" =/' file", false},
      {"Base64 with padding alone", "printf '\"cGFk=\"\\n' >>file", true},
  };
  for (const auto& row : rows) {
    IniFile file(folder.path("file"));
    file.values["s"]["password"] = std::string(344, 'p');
    file.values["s"]["label"] = "x";
    ASSERT_TRUE(file.saveAll(120, ""));
    ASSERT_EQ(std::system(("cd " + folder.path() + " && " + row.command).c_str()), 0) << row.name;
    EXPECT_FALSE(file.reload()) << row.name;
    EXPECT_EQ(file.hasLostEntries(), row.isCut) << row.name;
  }
}

TEST(IniFile, ReadsValuesAsWhatTheyAre) {
  const test::TemporaryFolder folder;
  const IniFile file(folder.write("file",
                                  "[s]\nYes=yEs\none=1\noff=Off\nmost=9223372036854775807\nplus=+5\n"
                                  "over=9223372036854775808\nhalf=-0.5e0\nhuge=1e300\nhuger=1e400\n"
                                  "nan=nan\nblank=\" 1\"\nunit=1k\nhex=0x10\nempty=\n"));
  std::ostringstream read;
  const auto add = [&read](const auto& value) { value ? read << " " << +*value : read << " -"; };
  for (const char* const key : {"Yes", "one", "off", "most", "plus", "over", "half", "huge", "huger", "nan",
                                "blank", "unit", "hex", "empty", "none"}) {
    read << key;
    add(file.readBool("S", key));
    add(file.readInt("s", key));
    add(file.readFloat("s", key));
    add(file.readCGFloat("s", key));
    read << "\n";
  }
  EXPECT_EQ(read.str(),
            "Yes 1 - - -\none 1 1 1 1\noff 0 - - -\n"
            "most - 9223372036854775807 9.22337e+18 9.22337e+18\nplus - 5 5 5\n"
            "over - - 9.22337e+18 9.22337e+18\nhalf - - -0.5 -0.5\nhuge - - - 1e+300\n"
            "huger - - - -\nnan - - - -\nblank - - - -\nunit - - - -\nhex - - - -\n"
            "empty - - - -\nnone - - - -\n");
  EXPECT_EQ(file.readString("s", "blank"), " 1");
  EXPECT_EQ(file.readString("t", "blank"), std::nullopt);
  EXPECT_EQ(file.readValues("S")->size(), 14U);
  EXPECT_EQ(file.readValues("t"), std::nullopt);
}

}  // namespace
}  // namespace quelto::ini
