#include "platform/text/utf8.h"

#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace quelto::platform {
namespace {

/// Where the run of ASCII bytes from `at` ends. Takes eight bytes at a time, since lists of servers are long
/// and nearly always ASCII.
std::size_t endOfAscii(std::string_view text, std::size_t at) {
  constexpr std::uint64_t highBits = 0x8080808080808080;
  for (std::uint64_t word = 0; text.size() - at >= sizeof word; at += sizeof word) {
    std::memcpy(&word, text.data() + at, sizeof word);
    if ((word & highBits) != 0) break;
  }
  while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) ++at;
  return at;
}

}  // namespace

Scalar scalarAt(std::string_view text, std::size_t at) {
  // Four bytes are the longest sequence, and the macro counts in 32 bits.
  const std::string_view window = text.substr(at, 4);
  std::int32_t length = 0;
  UChar32 value = 0;
  // The macro narrows silently in its own bytes.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
  U8_NEXT(window.data(), length, static_cast<std::int32_t>(window.size()), value);
#pragma GCC diagnostic pop
  const bool wellFormed = value >= 0;
  return {.value = wellFormed ? static_cast<char32_t>(value) : U'\uFFFD',
          .length = static_cast<std::size_t>(length),
          .wellFormed = wellFormed};
}

bool isAscii(std::string_view text) { return endOfAscii(text, 0) == text.size(); }

std::size_t wellFormedLength(std::string_view text) {
  for (std::size_t at = 0; (at = endOfAscii(text, at)) < text.size();) {
    const Scalar scalar = scalarAt(text, at);
    if (!scalar.wellFormed) return at;
    at += scalar.length;
  }
  return text.size();
}

bool isValidUtf8(std::string_view text) { return wellFormedLength(text) == text.size(); }

std::string utf8Of(char32_t scalar) {
  const bool isScalar = scalar <= 0x10FFFF && (scalar < 0xD800 || scalar > 0xDFFF);
  const char32_t written = isScalar ? scalar : U'\uFFFD';
  std::array<std::uint8_t, U8_MAX_LENGTH> bytes{};
  std::size_t length = 0;
  U8_APPEND_UNSAFE(bytes, length, written);
  return {reinterpret_cast<const char*>(bytes.data()), length};
}

std::string_view beginningOf(std::string_view text, std::size_t size) {
  if (text.size() <= size) return text;
  // The last four bytes are enough, and the macro counts in 32 bits.
  const std::size_t windowSize = std::min<std::size_t>(size, 4);
  const std::string_view window = text.substr(size - windowSize, windowSize);
  auto kept = static_cast<std::int32_t>(windowSize);
  // The macro narrows silently in its own bytes.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
  U8_TRUNCATE_IF_INCOMPLETE(window, 0, kept);
#pragma GCC diagnostic pop
  return text.substr(0, size - windowSize + static_cast<std::size_t>(kept));
}

}  // namespace quelto::platform
