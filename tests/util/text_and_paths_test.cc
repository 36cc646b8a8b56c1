#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <limits>
#include <thread>
#include <unordered_set>

#include "tests/support/temporary_folder.h"
#include "util/paths.h"
#include "util/strings.h"

namespace quelto::util {
namespace {

// "e" and a combining acute accent, and the same character in one scalar.
constexpr std::string_view decomposed = "e\u0301";
constexpr std::string_view composed = "\u00E9";
constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
constexpr auto largest = std::numeric_limits<std::int64_t>::max();

TEST(Substr, ToAnIncludedPosition) {
  constexpr std::string_view family = "\U0001F468\u200D\U0001F469\u200D\U0001F467";
  const std::string accents = "a" + std::string(decomposed) + "b" + std::string(family) + "c";
  const std::tuple<std::string, CharactersTo, std::string_view> rows[] = {
      {"abcdef", {1, 3}, "bcd"},
      {"abcdef", {-2, -1}, "ef"},
      {"abcdef", {-10, 2}, "abc"},
      {"abcdef", {0, -7}, ""},
      {"abcdef", {0, -6}, "a"},
      {"abcdef", {6, 9}, ""},
      {"abcdef", {4, 2}, ""},
      {"abcdef", {2, 100}, "cdef"},
      {"", {0, 0}, ""},
      {"abcdef", {smallest, largest}, "abcdef"},
      {"a  b  ", {1, -1, true}, "b"},
      {"abcdef", {largest, smallest}, ""},
      {"a\r\nb", {1, 1}, "\r\n"},
      {"a\r\nb", {2, -1}, "b"},
      {"a\n\rb", {2, 2}, "\r"},
      {accents, {1, 1}, decomposed},
      {accents, {3, 3}, family},
      {accents, {-1, -1}, "c"},
      {"x\xFFy\xC3", {1, 2}, "\xFFy"}};
  for (const auto& [text, range, result] : rows)
    EXPECT_EQ(substr(text, range), result) << text << " " << range.from << " " << range.to;
}

TEST(Substr, ByCount) {
  const std::tuple<std::string_view, CharacterCount, std::string_view> rows[] = {
      {"abcdef", {4, 10}, "ef"},      {"abcdef", {-3, 2}, "de"},
      {"abcdef", {0, 0}, ""},         {"abcdef", {-9, 2}, "ab"},
      {"abcdef", {6, 1}, ""},         {"abcdef", {2, largest}, "cdef"},
      {"abcdef", {smallest, 1}, "a"}, {"abcdef", {0, smallest}, ""},
      {" a b ", {0, 4, true}, "a b"}, {"a\u00E9\r\nb", {1, 2}, "\u00E9\r\n"}};
  for (const auto& [text, range, result] : rows) EXPECT_EQ(substr(text, range), result) << text << range.from;
}

TEST(Trim, StripsScalarsFromBothEnds) {
  EXPECT_EQ(trim("  a b \n"), "a b");
  EXPECT_EQ(trim("\u3000\u00A0\u2003\v\u0085\u2028a\u2029\f\r\n"), "a");
  EXPECT_EQ(trim("\u200Ba\uFEFF"), "\u200Ba\uFEFF") << "zero width is no whitespace";
  EXPECT_EQ(trim(" \xFF \xE2\x80 "), "\xFF \xE2\x80") << "a part of a separator's bytes is no separator";
  EXPECT_EQ(trim(" \n\t "), "");
  EXPECT_EQ(trim("##a#", {"#"}), "a");
  EXPECT_EQ(trim(" #a# ", {"#"}), " #a# ");
  EXPECT_EQ(trim("\u0301ae\u0301", {decomposed}), "a") << "a character given stands for each of its scalars";
  EXPECT_EQ(trimWhitespace(" \t\u00A0yes \n"), "yes \n");
}

TEST(Ltrim, StripsWholeCharacters) {
  EXPECT_EQ(ltrim(" \t x ", {" ", "\t"}), "x ");
  EXPECT_EQ(ltrim("  x", {}), "  x");
  for (const char* nothingLeft : {"   ", ""}) EXPECT_EQ(ltrim(nothingLeft, {" "}), "");
  EXPECT_EQ(ltrim("\r\n\nx", {"\n"}), "\r\n\nx") << "CR LF is another character than LF";
  EXPECT_EQ(ltrim("\r\n\nx", {"\r\n", "\n"}), "x");
  EXPECT_EQ(ltrim(std::string(decomposed) + "e", {composed}), "e") << "canonical equivalence";
  EXPECT_EQ(ltrim("e\u0301", {"e"}), decomposed);
}

TEST(DecimalInteger, TakesASignAndDigitsOnly) {
  const std::pair<std::string_view, std::optional<std::int64_t>> rows[] = {
      {"22", 22},
      {"+12", 12},
      {"-5", -5},
      {"007", 7},
      {"9223372036854775807", largest},
      {"-9223372036854775808", smallest}};
  for (const auto& [text, number] : rows) EXPECT_EQ(decimalInteger(text), number) << text;
  for (const char* wrong :
       {"9223372036854775808", "", "+", "-", "+-1", "-+1", " 22", "22 ", "0x10", "2_2", "\u0662"})
    EXPECT_EQ(decimalInteger(wrong), std::nullopt) << wrong;
}

TEST(Paths, PartsAndJoins) {
  const struct {
    std::string_view base, component, joined;
  } rows[] = {{"/tmp/", "c", "/tmp/c"},
              {"/tmp", "/c/", "/tmp/c"},
              {"a//b", "c///d/", "a/b/c/d"},
              {"", "c", "c"},
              {"/", "c", "/c"},
              {"/", "", "/"},
              {"/tmp", "", "/tmp"},
              {"", "", ""},
              {"", "/c", "/c"},
              {"svn+ssh://h/r", "x", "svn+ssh:/h/r/x"}};
  for (const auto& [base, component, joined] : rows)
    EXPECT_EQ(appendingPathComponent(base, component), joined) << base;
  for (const auto& [path, last] : {std::pair{"a/b/", "b"}, {"/usr/bin/ssh", "ssh"}, {"//", "/"}, {"", ""}})
    EXPECT_EQ(lastPathComponent(path), last);
}

TEST(Paths, JoinsKeepTheSchemeOfAUrl) {
  using Schemes = std::set<std::string>;
  // One set for all threads.
  std::jthread([] { svnExtraSSHSchemes().insert("svn+global"); }).join();
  const struct {
    std::string_view base, component, joined;
    std::optional<Schemes> extraSchemes;
  } rows[] = {
      {"svn://h/r/", "c", "svn://h/r/c", {}},
      {"https://h", "c", "https://h/c", {}},
      {"SVN+SSH://Host/r", "x", "svn+ssh://Host/r/x", {}},
      {"file:///", "c", "file:///c", {}},
      {"FILE:///Users/a", "b", "file:///Users/a/b", {}},
      {"file://h/a", "b", "file:/h/a/b", {}},
      {"/Users/a", ".keys", "/Users/a/.keys", {}},
      {"svn+custom://h", "c", "svn+custom://h/c", Schemes{"svn+custom"}},
      {"svn+custom://h", "c", "svn+custom:/h/c", {}},
      {"SVN+\u00DC://h", "c", "svn+u\u0308://h/c", Schemes{"svn+u\u0308"}},
      {"svn://\u0301h", "c", "svn:/\u0301h/c", {}},
      {"svn+global://h", "c", "svn+global://h/c", {}},
      {"svn+global://h", "c", "svn+global:/h/c", Schemes{}},
  };
  for (const auto& [base, component, joined, extraSchemes] : rows)
    EXPECT_EQ(appendPathComponent(base, component, extraSchemes), joined) << base;
}

TEST(PathTypeTest, TellsFilesFromFolders) {
  const test::TemporaryFolder folder;
  const std::string file = folder.write("file", "");
  std::filesystem::create_symlink(file, folder.path("link"));
  std::filesystem::create_symlink("nowhere", folder.path("dangling"));
  const std::pair<std::string, std::optional<PathType>> rows[] = {
      {"/", PathType::folder},       {file, PathType::file},        {folder.path("link"), PathType::file},
      {"/dev/null", PathType::file}, {folder.path("dangling"), {}}, {file + std::string(1, '\0'), {}}};
  for (const auto& [path, type] : rows) {
    EXPECT_EQ(PathType::from(path), type) << path;
    EXPECT_EQ(isFile(path), type == PathType(PathType::file)) << path;
  }
  EXPECT_EQ(PathType::fromRawValue(2), PathType(PathType::file));
  for (const int wrong : {3, -1}) EXPECT_EQ(PathType::fromRawValue(wrong), std::nullopt);
  EXPECT_EQ((std::unordered_set<PathType>{PathType::file, PathType::file, PathType::folder}.size()), 2U);
}

TEST(Identity, GroupIsAllButTheLastPieceOfTheIdentifier) {
  for (const auto& [identifier, group] :
       {std::pair{"one.two.three.tool", "one.two.three"}, {"a.b", "a"}, {"a.", "a"}, {"a", ""}, {"", ""}})
    EXPECT_EQ(groupId(identifier), group);
  EXPECT_EQ(groupId(), "org.quelto.suite") << "of the bundle that this test runs in";
  EXPECT_EQ(appName(), "queltoSSH");
  ::setenv("HOME", "/somewhere/else", 1);
  EXPECT_EQ(userHomePath(), ::getpwuid(::getuid())->pw_dir) << "the password database, not HOME";
}

}  // namespace
}  // namespace quelto::util
