#include "launcher/arguments.h"

#include <gtest/gtest.h>

#include <tuple>

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
                                    {{"-pabc"}, 22},
                                    {{"-p", ""}, 22},
                                    {{"-p", "-5"}, -5},
                                    {{"-p", "70000"}, 70000},
                                    {{"-p+8"}, 8},
                                    {{"-p", "9", "-p"}, 9},
                                    {{"-p\n9"}, 22},
                                    {{"-p\u00A09"}, 9},
                                    {{"-p", "99999999999999999999"}, 22}})
    EXPECT_EQ(parse(words).port, port) << testing::PrintToString(words);
}

}  // namespace
}  // namespace quelto::launcher
