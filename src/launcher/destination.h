#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quelto::launcher {

struct Destination {
  std::string username;
  std::string host;
  /// 0 when the destination names none or one that is not a number. Not range-checked.
  std::int64_t port = 0;
};

/// Splits "user@host:port" and trims the parts; user and port are optional. With more than one "@" the text
/// names no user; with more than one ":" after the user (an IPv6 address) it names no port. What is not split
/// is not trimmed. Never fails.
[[nodiscard]] Destination parseDestination(std::string_view destination);

}  // namespace quelto::launcher
