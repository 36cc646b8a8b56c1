#include <gtest/gtest.h>

#include <tuple>

#include "launcher/arguments.h"
#include "launcher/destination.h"
#include "launcher/server_list.h"
#include "launcher/server_merge.h"

namespace quelto::launcher {
namespace {

using Words = std::vector<std::string>;

ParsedArguments parse(const Words& words) { return parseArguments(words, "/found/ssh"); }

TEST(ParseArguments, SplitsOwnValuesOptionsAndCommand) {
  const struct {
    Words words, options, command;
    std::string destination;
  } rows[] = {
      {{"-o", "ProxyJump=gw", "-v", "host", "cmd"}, {"-o", "ProxyJump=gw", "-v"}, {"cmd"}, "host"},
      {{"-oBatchMode=yes", "-4", "host"}, {"-oBatchMode=yes", "-4"}, {}, "host"},
      {{"-o", "-l", "host"}, {"-o", "-l"}, {}, "host"},
      {{"host", "-v", "cmd", "-v", "-p", "2022"}, {"-v"}, {"cmd", "-v", "-p", "2022"}, "host"},
      {{"  host  ", " svnserve\n", "\t-t "}, {}, {"svnserve", "-t"}, "host"},
      {{"", "host", "", "x"}, {}, {"", "x"}, "host"},
      {{"-F"}, {"-F"}, {}, ""},
      {{"-", "--", "host"}, {"-", "--"}, {}, "host"},
      {{"h\xFFst", "\xC3"}, {}, {"\xC3"}, "h\xFFst"},
  };
  for (const auto& [words, options, command, destination] : rows) {
    const ParsedArguments parsed = parse(words);
    EXPECT_EQ(std::tie(parsed.options, parsed.command, parsed.destination),
              std::tie(options, command, destination))
        << testing::PrintToString(words);
  }
  for (const std::string_view option : sshValueOptions)
    EXPECT_EQ(parse({std::string(option), "value", "host"}).destination, "host") << option;
}

TEST(ParseArguments, KeepsItsOwnValues) {
  const Words command{"svnserve", "-t"};
  for (const Words& words : {Words{"-l", "alice", "-p", "2022", "-i", "~/.ssh/key", "host", "svnserve", "-t"},
                             Words{"-l alice", "-p\t2022", "-i~/.ssh/key", "host", "svnserve", "-t"}}) {
    const ParsedArguments parsed = parse(words);
    EXPECT_EQ(std::tuple(parsed.username, parsed.port, parsed.identify, parsed.options, parsed.command),
              std::tuple("alice", 2022, "~/.ssh/key", Words{}, command));
  }
  EXPECT_EQ(parse({"-z", " /opt/bin/ssh ", "host"}).sshCommand, "/opt/bin/ssh");
  EXPECT_EQ(parse({"-z/opt/ssh", "-z", "", "host"}).sshCommand, "");
  EXPECT_EQ(parse({"-Zone", "-Z", "other.group"}).group_Id, "other.group");
  EXPECT_EQ(parse({"-Z", "", "host"}).group_Id, "");
  const ParsedArguments pending = parse({"host", "-lbob", "-l"});
  EXPECT_EQ(std::tuple(pending.username, pending.sshCommand, pending.group_Id),
            std::tuple("bob", "/found/ssh", std::nullopt));
}

TEST(ParseArguments, ReadsThePort) {
  for (const auto& [words, port] : {std::pair{Words{"host"}, 0},
                                    {{"-p", "abc"}, 22},
                                    {{"-p", "-5"}, -5},
                                    {{"-p", "9", "-p"}, 9},
                                    {{"-p\u00A09"}, 9},
                                    {{"-p", "99999999999999999999"}, 22}})
    EXPECT_EQ(parse(words).port, port) << testing::PrintToString(words);
}

TEST(ParseDestination, SplitsUserHostAndPort) {
  const struct {
    std::string destination, username, host;
    std::int64_t port = 0;
  } rows[] = {
      {"bob@server:2200", "bob", "server", 2200},
      {"server", "", "server"},
      {"server:", "", "server"},
      {"server:x", "", "server"},
      {"a@b@c", "", "a@b@c"},
      {"a@b@c:22", "", "a@b@c", 22},
      {"[fe80::1]:22", "", "[fe80::1]:22"},
      {"bob@[::1]", "bob", "[::1]"},
      {" bob @ server : 22 ", "bob", "server", 22},
      {" server ", "", " server "},
      {"host:-5", "", "host", -5},
      {"@h", "", "h"},
      {"u@", "u", ""},
      {"", "", ""},
      {"user:pw@host", "user:pw", "host"},
      {"u@h\xFF:1", "u", "h\xFF", 1},
  };
  for (const auto& [destination, username, host, port] : rows) {
    const Destination parts = parseDestination(destination);
    EXPECT_EQ(std::tie(parts.username, parts.host, parts.port), std::tie(username, host, port))
        << destination;
  }
}

TEST(ServerList, ParsesALine) {
  const std::pair<std::string_view, std::optional<SSHServer>> rows[] = {
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
  MadeTexts made;
  for (const auto& [line, server] : rows) EXPECT_EQ(SSHServer::fromId(line, made), server) << line;
}

TEST(ServerList, SplitsLinesAtEveryLineEnd) {
  const std::tuple<const char*, std::string, Words> rows[] = {
      {"every line end",
       "a\nb\r\nc\vd\fe\u0085f\u2028g\u2029h\n\n",
       {"a", "b", "c", "d", "e", "f", "g", "h"}},
      {"bytes of a line end", "\u00E4\u2027x\u00A9\ny", {"\u00E4\u2027x\u00A9", "y"}},
      {"only the file's first mark", "\uFEFFa\n\uFEFFb", {"a", "\uFEFFb"}},
      {"a host twice", "a\na", {"a", "a"}},
      {"one wrong byte makes the whole text unreadable", "a\n\xFF\n", {}},
      {"a surrogate is not UTF-8", "a\n\xED\xA0\x80\n", {}},
  };
  for (const auto& [name, text, hosts] : rows) {
    Words found;
    const ServerList servers(text);
    for (const SSHServer& server : servers) found.emplace_back(server.host);
    EXPECT_EQ(found, hosts) << name;
  }
  std::string longList;
  for (int line = 0; line <= 1'000'000; ++line) longList += "a\n";
  EXPECT_EQ(ServerList(longList).size(), 0U) << "more records than any list has";
  EXPECT_EQ(ServerList(longList.substr(2)).size(), 1'000'000U);
}

TEST(MergeServers, OnlyYesSelectsFillIn) {
  for (const char* yes : {"yes", " YES ", "\tYes"}) EXPECT_EQ(serverMergeOf(yes), ServerMerge::fillIn) << yes;
  for (const char* no : {"", "true", "1", "yes.", "y", "yes\n"})
    EXPECT_EQ(serverMergeOf(no), ServerMerge::override_) << no;
}

}  // namespace
}  // namespace quelto::launcher
