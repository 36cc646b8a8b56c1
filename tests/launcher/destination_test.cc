#include "launcher/destination.h"

#include <gtest/gtest.h>

#include <tuple>

namespace quelto::launcher {
namespace {

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

}  // namespace
}  // namespace quelto::launcher
