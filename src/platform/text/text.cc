#include "platform/text/text.h"

#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>

#include "platform/bundle/module.h"
#include "platform/text/unicode_service.h"

namespace quelto::platform {
namespace {

/// U+FFFD.
constexpr std::string_view replacement = "\xEF\xBF\xBD";

/// Where the run of ASCII bytes that begins at `at` ends. Takes eight bytes a step: lists of servers are
/// long, and nearly always ASCII.
std::size_t endOfAscii(std::string_view text, std::size_t at) {
  constexpr std::uint64_t highBits = 0x8080808080808080;
  for (std::uint64_t word = 0; text.size() - at >= sizeof word; at += sizeof word) {
    std::memcpy(&word, text.data() + at, sizeof word);
    if ((word & highBits) != 0) break;
  }
  while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) ++at;
  return at;
}

bool isAscii(std::string_view text) { return endOfAscii(text, 0) == text.size(); }

char asciiLowercased(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

std::string asciiLowercased(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(), [](char byte) { return asciiLowercased(byte); });
  return result;
}

/// Null when the module is missing.
const UnicodeService* unicodeService() {
  static const auto* const service =
      moduleService<const UnicodeService>("libquelto_unicode.so", "queltoUnicodeService");
  return service;
}

/// The service, if there is one and it can take texts of this size.
const UnicodeService* serviceFor(std::size_t size) {
  return size <= std::numeric_limits<std::int32_t>::max() ? unicodeService() : nullptr;
}

/// Each code point a character, but CR LF one.
std::vector<std::size_t> scalarBoundaries(std::string_view text) {
  std::vector<std::size_t> boundaries;
  boundaries.reserve(text.size() + 1);
  for (std::size_t at = 0; at < text.size();) {
    boundaries.push_back(at);
    at += text.substr(at).starts_with("\r\n") ? 2 : scalarAt(text, at).length;
  }
  boundaries.push_back(text.size());
  return boundaries;
}

/// Where the run of well-formed scalars that begins at `at` ends.
std::size_t endOfWellFormed(std::string_view text, std::size_t at) {
  while ((at = endOfAscii(text, at)) < text.size()) {
    const Scalar scalar = scalarAt(text, at);
    if (!scalar.wellFormed) break;
    at += scalar.length;
  }
  return at;
}

bool isControlOrLineEnd(char32_t scalar) {
  const bool isControl = scalar < 0x20 || (scalar >= 0x7F && scalar < 0xA0);
  return isControl || scalar == 0x2028 || scalar == 0x2029;
}

bool steersTerminal(char32_t scalar) {
  const bool isDirection = scalar == 0x061C || scalar == 0x200E || scalar == 0x200F ||
                           (scalar >= 0x202A && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069);
  return isControlOrLineEnd(scalar) || isDirection;
}

template <typename Predicate>
std::string replaced(std::string_view text, Predicate isQuestionable) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const Scalar scalar = scalarAt(text, at);
    if (isQuestionable(scalar.value)) {
      result += '?';
    } else if (!scalar.wellFormed || scalar.value == 0) {
      result += replacement;
    } else {
      result += text.substr(at, scalar.length);
    }
    at += scalar.length;
  }
  return result;
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

std::size_t wellFormedLength(std::string_view text) { return endOfWellFormed(text, 0); }

bool isValidUtf8(std::string_view text) { return wellFormedLength(text) == text.size(); }

std::string utf8Of(char32_t scalar) {
  const bool isScalar = scalar <= 0x10FFFF && (scalar < 0xD800 || scalar > 0xDFFF);
  const char32_t written = isScalar ? scalar : U'\uFFFD';
  std::array<std::uint8_t, U8_MAX_LENGTH> bytes{};
  std::size_t length = 0;
  U8_APPEND_UNSAFE(bytes, length, written);
  return {reinterpret_cast<const char*>(bytes.data()), length};
}

std::string displayableText(std::string_view text) {
  return replaced(text, [](char32_t) { return false; });
}

std::string terminalText(std::string_view text) { return replaced(text, steersTerminal); }

std::string singleLineText(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const Scalar scalar = scalarAt(text, at);
    if (!isControlOrLineEnd(scalar.value)) result += text.substr(at, scalar.length);
    at += scalar.length;
  }
  return result;
}

std::string_view beginningOf(std::string_view text, std::size_t size) {
  if (text.size() <= size) return text;
  // The last four bytes tell, and the macro counts in 32 bits.
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

std::string utf8FromUtf16(std::string_view bytes, ByteOrder order) {
  const UnicodeService* service = serviceFor(bytes.size());
  if (service == nullptr) return "";
  std::u16string units;
  units.reserve(bytes.size() / 2);
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    const unsigned first = static_cast<unsigned char>(bytes[at]);
    const unsigned second = static_cast<unsigned char>(bytes[at + 1]);
    const unsigned unit = order == ByteOrder::bigEndian ? first << 8U | second : second << 8U | first;
    units.push_back(static_cast<char16_t>(unit));
  }
  return service->utf8FromUtf16(units);
}

std::vector<std::size_t> characterBoundaries(std::string_view text) {
  if (!isAscii(text)) {
    if (const UnicodeService* service = serviceFor(text.size())) {
      auto boundaries = service->characterBoundaries(text);
      if (!boundaries.empty()) return boundaries;
    }
  }
  return scalarBoundaries(text);
}

bool isCanonicallyEqual(std::string_view one, std::string_view other) {
  if (one == other) return true;
  // Some non-ASCII scalars are equivalent to ASCII ones (the Kelvin sign to K), so both must be ASCII here.
  if (isAscii(one) && isAscii(other)) return false;
  const UnicodeService* service = serviceFor(std::max(one.size(), other.size()));
  return service != nullptr && isValidUtf8(one) && isValidUtf8(other) &&
         service->isCanonicallyEqual(one, other);
}

std::string lowercased(std::string_view text) {
  const UnicodeService* service = isAscii(text) ? nullptr : serviceFor(text.size());
  if (service == nullptr) return asciiLowercased(text);
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = endOfWellFormed(text, at);
    result += service->lowercased(text.substr(at, end - at));
    at = end;
    for (; at < text.size() && !scalarAt(text, at).wellFormed; at += scalarAt(text, at).length) {
      result += text.substr(at, scalarAt(text, at).length);
    }
  }
  return result;
}

}  // namespace quelto::platform
