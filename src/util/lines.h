#pragma once

#include <cstddef>
#include <string_view>

#include "platform/text/utf8.h"
#include "util/strings.h"

namespace quelto::util {

/// Whether the text may hold a line end other than LF: VT, FF, CR, or the lead byte of one of the three that
/// are not ASCII. Without branches, so that the compiler vectorises the loop.
[[nodiscard]] inline bool mayHoldOtherLineEnd(std::string_view text) {
  unsigned found = 0;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    found |= static_cast<unsigned>(static_cast<unsigned char>(byte - '\v') <= '\r' - '\v');
    found |= static_cast<unsigned>(byte == 0xC2) | static_cast<unsigned>(byte == 0xE2);
  }
  return found != 0;
}

/// Calls `take` for each piece between line ends, empty ones and the one after the last line end included.
/// Every character of `isNewline` is a line end, so CR LF makes two.
template <typename Take>
void forEachLine(std::string_view text, Take take) {
  const auto forEachPiece = [&take](std::string_view line) {
    std::size_t begin = 0;
    for (std::size_t at = 0; at < line.size();) {
      const platform::Scalar scalar = platform::scalarAt(line, at);
      if (isNewline(scalar.value)) {
        take(line.substr(begin, at - begin));
        begin = at + scalar.length;
      }
      at += scalar.length;
    }
    take(line.substr(begin));
  };
  const bool hasOtherLineEnds = mayHoldOtherLineEnd(text);
  for (;;) {
    const std::size_t lineFeed = text.find('\n');
    const std::string_view line = text.substr(0, lineFeed);
    if (hasOtherLineEnds && mayHoldOtherLineEnd(line)) {
      forEachPiece(line);
    } else {
      take(line);
    }
    if (lineFeed == std::string_view::npos) return;
    text.remove_prefix(lineFeed + 1);
  }
}

/// Whether the text would be read as more than one line.
[[nodiscard]] inline bool holdsLineEnd(std::string_view text) {
  int lines = 0;
  forEachLine(text, [&lines](std::string_view /*line*/) { ++lines; });
  return lines > 1;
}

}  // namespace quelto::util
