#include "launcher/server_merge.h"

#include <gtest/gtest.h>

#include <tuple>

namespace quelto::launcher {
namespace {

auto fieldsOf(const SshSettings& settings) {
  const auto& [port, username, identify, sshCommand, arguments] = settings;
  return std::tuple(port, username, identify, sshCommand, arguments);
}

TEST(MergeServers, AppliesEveryRecordOfTheHost) {
  const ServerList servers(
      "other\t1\tnobody\nhost\t0\tbob\t\t\t-4  -v\nhost\t2200\tcarol\t/key\t/opt/ssh\t\n");
  const std::vector<std::string> listed{"-4", "", "-v"};
  const SshSettings given{22, "alice", "/mine", "/found/ssh", {"-C"}};
  struct Row {
    const char* name;
    SshSettings given;
    ServerMerge merge;
    SshSettings merged;
  };
  const Row rows[] = {
      {"nothing is given", {}, ServerMerge::fillIn, {2200, "bob", "/key", "/opt/ssh", listed}},
      {"all is given, also the port that a record without one has", given, ServerMerge::fillIn, given},
      {"all is overridden", given, ServerMerge::override_, {2200, "carol", "/key", "/opt/ssh", listed}},
  };
  for (const Row& row : rows) {
    const SshSettings merged = mergeServers(row.given, servers, "HOST", row.merge);
    EXPECT_EQ(fieldsOf(merged), fieldsOf(row.merged)) << row.name;
  }
}

TEST(MergeServers, ComparesHostsAsTextNotAsBytes) {
  const auto portFor = [](const std::string& recorded, std::string_view asked) {
    return mergeServers({}, ServerList(recorded + "\t7\n"), asked, ServerMerge::override_).port;
  };
  EXPECT_EQ(portFor("BuildHost", "BUILDHOST"), 7);
  EXPECT_EQ(portFor("buildhost", "buildhost.lan"), 0);
  EXPECT_EQ(portFor("B\u00DCCHER", "bu\u0308cher"), 7);
  EXPECT_EQ(portFor("\u212Aelvin", "kelvin"), 7) << "the Kelvin sign's lower case is an ASCII k";
  EXPECT_EQ(portFor("b\u00FCcher", "bucher"), 0);
  EXPECT_EQ(portFor("host", "host\xFF"), 0);
}

TEST(MergeServers, OnlyYesSelectsFillIn) {
  for (const char* yes : {"yes", " YES ", "\tYes"}) EXPECT_EQ(serverMergeOf(yes), ServerMerge::fillIn) << yes;
  for (const char* no : {"", "true", "1", "yes.", "y", "yes\n"})
    EXPECT_EQ(serverMergeOf(no), ServerMerge::override_) << no;
  EXPECT_EQ(serverMergeOf(std::nullopt), ServerMerge::override_);
}

}  // namespace
}  // namespace quelto::launcher
