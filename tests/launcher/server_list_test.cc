#include "launcher/server_list.h"

#include <gtest/gtest.h>

namespace quelto::launcher {
namespace {

using Words = std::vector<std::string>;

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

}  // namespace
}  // namespace quelto::launcher
