#include "launcher/destination.h"

#include <gtest/gtest.h>

namespace quelto::launcher {
namespace {

TEST(ParseDestination, SplitsUserHostAndPort) {
  struct Row {
    std::string_view destination;
    std::string_view username;
    std::string_view host;
    std::int64_t port;
  };
  const Row rows[] = {
      {"bob@server:2200", "bob", "server", 2200},
      {"server", "", "server", 0},
      {"server:", "", "server", 0},
      {"server:x", "", "server", 0},
      {"a@b@c", "", "a@b@c", 0},
      {"a@b@c:22", "", "a@b@c", 22},
      {"[fe80::1]:22", "", "[fe80::1]:22", 0},
      {"bob@[::1]", "bob", "[::1]", 0},
      {" bob @ server : 22 ", "bob", "server", 22},
      {" server ", "", " server ", 0},
      {"host:-5", "", "host", -5},
      {"@h", "", "h", 0},
      {"u@", "u", "", 0},
      {"", "", "", 0},
      {"user:pw@host", "user:pw", "host", 0},
      {"u@h\xFF:1", "u", "h\xFF", 1},
  };
  for (const Row& row : rows) {
    const Destination parts = parseDestination(row.destination);
    EXPECT_EQ(parts.username, row.username) << row.destination;
    EXPECT_EQ(parts.host, row.host) << row.destination;
    EXPECT_EQ(parts.port, row.port) << row.destination;
  }
}

}  // namespace
}  // namespace quelto::launcher
