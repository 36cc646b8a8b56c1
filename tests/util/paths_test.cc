#include "util/paths.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <thread>
#include <unordered_set>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace quelto::util {
namespace {

TEST(Paths, PartsAndJoins) {
  struct Row {
    std::string_view base;
    std::string_view component;
    std::string_view joined;
  };
  const Row rows[] = {
      {"/tmp/", "c", "/tmp/c"},
      {"/tmp", "/c/", "/tmp/c"},
      {"a//b", "c///d/", "a/b/c/d"},
      {"", "c", "c"},
      {"/", "c", "/c"},
      {"/", "", "/"},
      {"/tmp", "", "/tmp"},
      {"", "", ""},
      {"", "/c", "/c"},
      {"svn+ssh://h/r", "x", "svn+ssh:/h/r/x"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(appendingPathComponent(row.base, row.component), row.joined) << row.base;
  EXPECT_EQ(lastPathComponent("a/b/"), "b");
  EXPECT_EQ(lastPathComponent("/usr/bin/ssh"), "ssh");
  EXPECT_EQ(lastPathComponent("//"), "/");
  EXPECT_EQ(lastPathComponent(""), "");
}

TEST(Paths, JoinsKeepTheSchemeOfAUrl) {
  struct Row {
    std::string_view base;
    std::string_view component;
    std::string_view joined;
    std::optional<std::set<std::string>> extraSchemes = std::nullopt;
  };
  const Row rows[] = {
      {"svn://h/r/", "c", "svn://h/r/c"},
      {"https://h", "c", "https://h/c"},
      {"SVN+SSH://Host/r", "x", "svn+ssh://Host/r/x"},
      {"file:///", "c", "file:///c"},
      {"FILE:///Users/a", "b", "file:///Users/a/b"},
      {"file://h/a", "b", "file:/h/a/b"},
      {"/Users/a", ".keys", "/Users/a/.keys"},
      {"svn+custom://h", "c", "svn+custom://h/c", std::set<std::string>{"svn+custom"}},
      {"svn+custom://h", "c", "svn+custom:/h/c"},
      {"SVN+\u00DC://h", "c", "svn+u\u0308://h/c", std::set<std::string>{"svn+u\u0308"}},
      {"svn://\u0301h", "c", "svn:/\u0301h/c"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(appendPathComponent(row.base, row.component, row.extraSchemes), row.joined) << row.base;
  }
  svnExtraSSHSchemes().insert("svn+global");
  EXPECT_EQ(appendPathComponent("svn+global://h", "c"), "svn+global://h/c");
  EXPECT_EQ(appendPathComponent("svn+global://h", "c", std::set<std::string>{}), "svn+global:/h/c");
  svnExtraSSHSchemes().clear();
}

TEST(Paths, OneSetOfExtraSchemesForAllThreads) {
  std::vector<std::set<std::string>*> seen(8);
  {
    std::vector<std::jthread> threads;
    for (auto& slot : seen) threads.emplace_back([&slot] { slot = &svnExtraSSHSchemes(); });
  }
  for (const auto* set : seen) EXPECT_EQ(set, &svnExtraSSHSchemes());
}

TEST(PathTypeTest, TellsFilesFromFolders) {
  const test::TemporaryFolder folder;
  const std::string file = folder.write("file", "");
  std::filesystem::create_symlink(file, folder.path("link"));
  std::filesystem::create_symlink("nowhere", folder.path("dangling"));
  EXPECT_EQ(PathType::from("/"), PathType(PathType::folder));
  EXPECT_EQ(PathType::from(file), PathType(PathType::file));
  EXPECT_EQ(PathType::from(folder.path("link")), PathType(PathType::file));
  EXPECT_EQ(PathType::from("/dev/null"), PathType(PathType::file));
  EXPECT_EQ(PathType::from(folder.path("dangling")), std::nullopt);
  EXPECT_EQ(PathType::from(file + std::string(1, '\0')), std::nullopt);
  EXPECT_TRUE(isFile(file));
  EXPECT_FALSE(isFile("/"));
  EXPECT_FALSE(isFile(folder.path("missing")));
  EXPECT_EQ(PathType::fromRawValue(2), PathType(PathType::file));
  EXPECT_EQ(PathType::fromRawValue(3), std::nullopt);
  EXPECT_EQ(PathType::fromRawValue(-1), std::nullopt);
  EXPECT_EQ((std::unordered_set<PathType>{PathType::file, PathType::file, PathType::folder}.size()), 2U);
}

TEST(Identity, GroupIsAllButTheLastPieceOfTheIdentifier) {
  EXPECT_EQ(groupId("one.two.three.tool"), "one.two.three");
  EXPECT_EQ(groupId("a.b"), "a");
  EXPECT_EQ(groupId("a."), "a");
  EXPECT_EQ(groupId("a"), "");
  EXPECT_EQ(groupId(""), "");
  EXPECT_EQ(groupId(), "org.quelto.suite") << "of the bundle that this test runs in";
  EXPECT_EQ(appName(), "queltoSSH");
  ::setenv("HOME", "/somewhere/else", 1);
  EXPECT_EQ(userHomePath(), ::getpwuid(::getuid())->pw_dir) << "the password database, not HOME";
}

}  // namespace
}  // namespace quelto::util
