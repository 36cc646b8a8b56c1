#include "platform/user/group_container.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/new_process.h"
#include "tests/support/temporary_folder.h"

namespace quelto::platform {
namespace {

using namespace std::string_literals;

TEST(GroupContainer, IsInAFolderThatIsOursAlone) {
  const std::string inRuntime = "/run/quelto/a.b";
  const std::string inData = "/data/quelto/groups/a.b";
  const struct {
    const char* name;
    const char* command;
    std::string made;
    std::string group = "a.b";
    const char* runtime = "$PWD/run";
  } rows[] = {
      {"in the runtime folder", ":", inRuntime},
      {"a runtime folder that others may read", "chmod 755 run", inRuntime},
      {"one that others may write to", "chmod 770 run", inData},
      {"one that is a file", "rmdir run && : >run", inData},
      {"one by a relative path", ":", inData, "a.b", "run"},
      {"a folder on the way that others may read", "mkdir -m 755 run/quelto", ""},
      {"one for others in its place", "mkdir -m 700 run/quelto && mkdir -m 750 run/quelto/a.b", ""},
      {"a link in its place", "mkdir -m 700 run/quelto run/c && ln -s ../c run/quelto/a.b", ""},
      {"no name", ":", "", ""},
      {"a dot", ":", "", "."},
      {"a way up", ":", "", "a..b"},
      {"a path", ":", "", "a/b"},
      {"NUL", ":", "", "a\0b"s},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const test::TemporaryFolder around;
    const std::string top = around.path();
    ASSERT_EQ(std::system(("cd " + top + " && mkdir -m 700 run && " + row.command).c_str()), 0);
    test::inNewProcess([&] {
      ::umask(0);
      ASSERT_EQ(::chdir(top.c_str()), 0);
      ::setenv("XDG_RUNTIME_DIR", row.runtime[0] == '$' ? (top + "/run").c_str() : row.runtime, 1);
      ::setenv("XDG_DATA_HOME", (top + "/data").c_str(), 1);
      EXPECT_EQ(containerFolder(row.group), std::nullopt);
      const auto expected = row.made.empty() ? std::nullopt : std::optional(top + row.made);
      EXPECT_EQ(makeContainerFolder(row.group), expected);
      EXPECT_EQ(containerFolder(row.group), expected);
    });
    if (row.made == inData) {
      EXPECT_EQ(test::shell("find " + top + "/data/quelto ! -perm 700").text, "");
    }
  }
}

}  // namespace
}  // namespace quelto::platform
