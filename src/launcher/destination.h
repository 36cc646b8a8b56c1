#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quelto::launcher {

struct Destination {
  std::string username;
  std::string host;
  /// 0 when the destination names none, or one that is no number. Not range-checked.
  std::int64_t port = 0;
};

/// Splits "user@host:port"; user and port may be missing, and the parts are trimmed. A text with more than
/// one "@" names no user, one with more than one ":" behind the user (an IPv6 address) no port; it is then
/// the host as a whole, untrimmed.
[[nodiscard]] Destination parseDestination(std::string_view destination);

}  // namespace quelto::launcher
