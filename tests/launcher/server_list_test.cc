#include "launcher/server_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace quelto::launcher
