#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "crash/crash_packet.h"

namespace quelto::test {

inline std::string packet(int flags, int count, int index, const std::string& body,
                          const std::string& identity = "identity-11") {
  std::string header;
  for (const int byte : {flags, count, count / 256, index, index / 256}) header += static_cast<char>(byte);
  return header + identity + body;
}

/// A text as it is sent. Each "|" in it separates two fields.
inline std::vector<std::string> packets(std::string text, const std::string& identity = "identity-11") {
  std::ranges::replace(text, '|', crash::separator);
  const std::size_t count = (text.size() + crash::chunkLength - 1) / crash::chunkLength;
  std::vector<std::string> result;
  for (std::size_t index = 0; index < count; ++index) {
    const std::string body = text.substr(index * crash::chunkLength, crash::chunkLength);
    result.push_back(packet(count > 1, static_cast<int>(count), static_cast<int>(index), body, identity));
  }
  return result;
}

}  // namespace quelto::test
