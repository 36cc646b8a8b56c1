#include "launcher/arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quelto::launcher {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Words = std::vector<std::string>;

ParsedArguments parse(const Words& words) { return parseArguments(words, "/found/ssh"); }

TEST(ParseArguments, SplitsOwnValuesOptionsAndCommand) {
  struct Row {
    Words words;
    Words options;
    Words command;
    std::string destination;
  };
  const Row rows[] = {
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
  for (const Row& row : rows) {
    const ParsedArguments parsed = parse(row.words);
    EXPECT_EQ(parsed.options, row.options) << testing::PrintToString(row.words);
    EXPECT_EQ(parsed.command, row.command) << testing::PrintToString(row.words);
    EXPECT_EQ(parsed.destination, row.destination) << testing::PrintToString(row.words);
  }
  for (const std::string_view option : sshValueOptions) {
    EXPECT_EQ(parse({std::string(option), "value", "host"}).destination, "host") << option;
  }
}

TEST(ParseArguments, KeepsItsOwnValues) {
  const ParsedArguments apart =
      parse({"-l", "alice", "-p", "2022", "-i", "~/.ssh/key", "host", "svnserve", "-t"});
  const ParsedArguments joined = parse({"-l alice", "-p\t2022", "-i~/.ssh/key", "host", "svnserve", "-t"});
  for (const ParsedArguments& parsed : {apart, joined}) {
    EXPECT_EQ(parsed.username, "alice");
    EXPECT_EQ(parsed.port, 2022);
    EXPECT_EQ(parsed.identify, "~/.ssh/key");
    EXPECT_THAT(parsed.options, IsEmpty());
    EXPECT_THAT(parsed.command, ElementsAre("svnserve", "-t"));
  }
  EXPECT_EQ(parse({"-z", " /opt/bin/ssh ", "host"}).sshCommand, "/opt/bin/ssh");
  EXPECT_EQ(parse({"-z/opt/ssh", "-z", "", "host"}).sshCommand, "");
  EXPECT_EQ(parse({"-Zone", "-Z", "other.group"}).group_Id, "other.group");
  EXPECT_EQ(parse({"-Z", "", "host"}).group_Id, "");
  const ParsedArguments pending = parse({"host", "-lbob", "-l"});
  EXPECT_EQ(pending.username, "bob");
  EXPECT_EQ(pending.sshCommand, "/found/ssh");
  EXPECT_EQ(pending.group_Id, std::nullopt);
}

TEST(ParseArguments, ReadsThePort) {
  struct Row {
    Words words;
    std::int64_t port;
  };
  const Row rows[] = {
      {{"host"}, 0},
      {{"-p", "abc"}, 22},
      {{"-pabc"}, 22},
      {{"-p", ""}, 22},
      {{"-p", "-5"}, -5},
      {{"-p", "70000"}, 70000},
      {{"-p+8"}, 8},
      {{"-p", "9", "-p"}, 9},
      {{"-p\n9"}, 22},
      {{"-p\u00A09"}, 9},
      {{"-p", "99999999999999999999"}, 22},
  };
  for (const Row& row : rows) EXPECT_EQ(parse(row.words).port, row.port) << testing::PrintToString(row.words);
}

}  // namespace
}  // namespace quelto::launcher
