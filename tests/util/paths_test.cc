#include "util/paths.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <thread>
#include <unordered_set>

#include "tests/support/temporary_folder.h"

namespace quelto::util {
namespace {

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
