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
  const std::tuple<const char*, SshSettings, ServerMerge, SshSettings> rows[] = {
      {"nothing is given", {}, ServerMerge::fillIn, {2200, "bob", "/key", "/opt/ssh", listed}},
      {"all is given, also the port that a record without one has", given, ServerMerge::fillIn, given},
      {"all is overridden", given, ServerMerge::override_, {2200, "carol", "/key", "/opt/ssh", listed}},
  };
  for (const auto& [name, settings, merge, merged] : rows)
    EXPECT_EQ(fieldsOf(mergeServers(settings, servers, "HOST", merge)), fieldsOf(merged)) << name;
}

TEST(MergeServers, ComparesHostsAsTextNotAsBytes) {
  // The Kelvin sign's lower case is an ASCII k.
  for (const auto& [recorded, asked, port] : {std::tuple{"BuildHost", "BUILDHOST", 7},
                                              {"buildhost", "buildhost.lan", 0},
                                              {"B\u00DCCHER", "bu\u0308cher", 7},
                                              {"\u212Aelvin", "kelvin", 7},
                                              {"b\u00FCcher", "bucher", 0},
                                              {"host", "host\xFF", 0}}) {
    const ServerList servers(recorded + std::string("\t7\n"));
    EXPECT_EQ(mergeServers({}, servers, asked, ServerMerge::override_).port, port) << recorded;
  }
}

TEST(MergeServers, OnlyYesSelectsFillIn) {
  for (const char* yes : {"yes", " YES ", "\tYes"}) EXPECT_EQ(serverMergeOf(yes), ServerMerge::fillIn) << yes;
  for (const char* no : {"", "true", "1", "yes.", "y", "yes\n"})
    EXPECT_EQ(serverMergeOf(no), ServerMerge::override_) << no;
}

}  // namespace
}  // namespace quelto::launcher
