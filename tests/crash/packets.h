#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "crash/crash_packet.h"

namespace quelto::test {

struct PacketHeader {
  int flags;
  int count;
  int index;
  std::string identity = "identity-11";
};

inline std::string packet(const PacketHeader& header, std::string_view body) {
  std::string bytes;
  for (const int byte :
       {header.flags, header.count % 256, header.count / 256, header.index % 256, header.index / 256})
    bytes += static_cast<char>(byte);
  return bytes + header.identity + std::string(body);
}

/// A text as it is sent.
inline std::vector<std::string> packets(const std::string& text,
                                        const std::string& identity = "identity-11") {
  const int count = static_cast<int>((text.size() + crash::chunkLength - 1) / crash::chunkLength);
  std::vector<std::string> result;
  for (int index = 0; index < count; ++index) {
    result.push_back(
        packet({.flags = count > 1 ? 1 : 0, .count = count, .index = index, .identity = identity},
               std::string_view(text).substr(static_cast<std::size_t>(index) * crash::chunkLength,
                                             crash::chunkLength)));
  }
  return result;
}

inline std::string joined(const std::vector<std::string>& pieces) {
  std::string result;
  for (const auto& piece : pieces) result += piece;
  return result;
}

}  // namespace quelto::test
