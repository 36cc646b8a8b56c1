#include "launcher/server_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "launcher/process_values.h"

namespace quelto::launcher {
namespace {

using testing::ElementsAre;

using Words = std::vector<std::string>;

TEST(ServerList, ParsesALine) {
  struct Row {
    std::string_view line;
    std::optional<SSHServer> server;
  };
  const Row rows[] = {
      {"BuildHost\t2222\tbob", SSHServer{.host = "buildhost", .port = 2222, .username = "bob"}},
      {"h\t22\tu\ti\tc\ta\tb\t", SSHServer{"h", 22, "u", "i", "c", "a|b|"}},
      {" H \t7\t u \t i \t c \t -v ", SSHServer{"h", 7, "u", "i", "c", " -v "}},
      {"host\t 22", SSHServer{.host = "host"}},
      {"host\tx", SSHServer{.host = "host"}},
      {"host\t-1", SSHServer{.host = "host", .port = -1}},
      {"host\t0", SSHServer{.host = "host", .port = 0}},
      {"# no comments", SSHServer{.host = "# no comments"}},
      {"", {}},
      {"\t22\tbob", {}},
      {" \u00A0\t22", {}},
  };
  for (const Row& row : rows) {
    MadeTexts made;
    EXPECT_EQ(SSHServer::fromId(row.line, made), row.server) << row.line;
  }
}

TEST(ServerList, SplitsLinesAtEveryLineEnd) {
  const auto hosts = [](std::string_view text) {
    Words names;
    const ServerList servers{std::string(text)};
    for (const SSHServer& server : servers) names.emplace_back(server.host);
    return names;
  };
  EXPECT_THAT(hosts("a\nb\r\nc\vd\fe\u0085f\u2028g\u2029h\n\n"),
              ElementsAre("a", "b", "c", "d", "e", "f", "g", "h"));
  EXPECT_THAT(hosts("\u00E4\u2027x\u00A9\ny"), ElementsAre("\u00E4\u2027x\u00A9", "y"));
  EXPECT_THAT(hosts("\uFEFFa\n\uFEFFb"), ElementsAre("a", "\uFEFFb")) << "only the file's first mark";
  EXPECT_THAT(hosts("a\na"), ElementsAre("a", "a"));
  std::string long_list;
  for (int line = 0; line <= 1'000'000; ++line) long_list += "a\n";
  EXPECT_EQ(ServerList(long_list).size(), 0U) << "more records than any list has";
  EXPECT_EQ(ServerList(long_list.substr(2)).size(), 1'000'000U);
  EXPECT_THAT(hosts("a\n\xFF\n"), ElementsAre()) << "one wrong byte makes the whole text unreadable";
  EXPECT_THAT(hosts("a\n\xED\xA0\x80\n"), ElementsAre()) << "a surrogate is not UTF-8";
}

TEST(ServerList, MergesEveryRecordOfTheHost) {
  const std::string list =
      "other\t1\tnobody\nhost\t0\tbob\t\t\t-4  -v\nhost\t2200\tcarol\t/key\t/opt/ssh\t\n";
  ProcessValues given;
  given.servers = ServerList(list);
  given._host = "HOST";
  given.port = 22;
  given.username = "alice";
  given.identify = "/mine";
  given.sshCommand = "/found/ssh";
  given.arguments = {"-C"};
  ProcessValues blank;
  blank.servers = ServerList(list);
  blank._host = "host";

  mergeServers(blank, ServerMerge::fillIn);
  EXPECT_EQ(blank.port, 2200);
  EXPECT_EQ(blank.username, "bob");
  EXPECT_EQ(blank.identify, "/key");
  EXPECT_EQ(blank.sshCommand, "/opt/ssh");
  EXPECT_THAT(blank.arguments, ElementsAre("-4", "", "-v"));

  mergeServers(given, ServerMerge::fillIn);
  EXPECT_EQ(given.port, 22) << "also the port that a record without one carries";
  EXPECT_EQ(given.username, "alice");
  EXPECT_EQ(given.identify, "/mine");
  EXPECT_EQ(given.sshCommand, "/found/ssh");
  EXPECT_THAT(given.arguments, ElementsAre("-C"));

  mergeServers(given, ServerMerge::override_);
  EXPECT_EQ(given.port, 2200);
  EXPECT_EQ(given.username, "carol");
  EXPECT_EQ(given.identify, "/key");
  EXPECT_EQ(given.sshCommand, "/opt/ssh");
  EXPECT_THAT(given.arguments, ElementsAre("-4", "", "-v"));
}

TEST(ServerList, ComparesHostsAsTextNotAsBytes) {
  const auto portFor = [](std::string_view recorded, std::string_view asked) {
    ProcessValues values;
    values.servers = ServerList(std::string(recorded) + "\t7\n");
    values._host = asked;
    mergeServers(values, ServerMerge::override_);
    return values.port;
  };
  EXPECT_EQ(portFor("BuildHost", "BUILDHOST"), 7);
  EXPECT_EQ(portFor("buildhost", "buildhost.lan"), 0);
  EXPECT_EQ(portFor("B\u00DCCHER", "bu\u0308cher"), 7);
  EXPECT_EQ(portFor("\u212Aelvin", "kelvin"), 7) << "the Kelvin sign's lower case is an ASCII k";
  EXPECT_EQ(portFor("b\u00FCcher", "bucher"), 0);
  EXPECT_EQ(portFor("host", "host\xFF"), 0);
}

TEST(ServerList, OnlyYesSelectsFillIn) {
  for (const char* yes : {"yes", " YES ", "\tYes"}) EXPECT_EQ(serverMergeOf(yes), ServerMerge::fillIn) << yes;
  for (const char* no : {"", "true", "1", "yes.", "y", "yes\n"})
    EXPECT_EQ(serverMergeOf(no), ServerMerge::override_) << no;
  EXPECT_EQ(serverMergeOf(std::nullopt), ServerMerge::override_);
}

}  // namespace
}  // namespace quelto::launcher
