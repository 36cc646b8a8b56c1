#include "util/strings.h"

#include <algorithm>
#include <charconv>

#include "platform/text/unicode.h"
#include "platform/text/utf8.h"

namespace quelto::util {
namespace {

bool isSpaceSeparator(char32_t scalar) {
  return scalar == 0x20 || scalar == 0xA0 || scalar == 0x1680 || (scalar >= 0x2000 && scalar <= 0x200A) ||
         scalar == 0x202F || scalar == 0x205F || scalar == 0x3000;
}

bool isWhitespace(char32_t scalar) { return scalar == '\t' || isSpaceSeparator(scalar); }

/// Strips the scalars that satisfy `strips` from both ends. Scans what is not ASCII forward only: read
/// backwards, ill-formed UTF-8 has no defined division into parts.
template <typename Predicate>
std::string_view trimScalars(std::string_view text, Predicate strips) {
  const auto isAscii = [](char byte) { return static_cast<unsigned char>(byte) < 0x80; };
  const auto isStripped = [&](char byte) {
    return isAscii(byte) && strips(static_cast<unsigned char>(byte));
  };
  // An ASCII byte is never part of another scalar, or of an ill-formed part.
  while (!text.empty() && isStripped(text.front())) text.remove_prefix(1);
  while (!text.empty() && isStripped(text.back())) text.remove_suffix(1);
  if (text.empty() || (isAscii(text.front()) && isAscii(text.back()))) return text;
  std::size_t begin = text.size();
  std::size_t end = text.size();
  for (std::size_t at = 0; at < text.size();) {
    const platform::Scalar scalar = platform::scalarAt(text, at);
    if (!scalar.wellFormed || !strips(scalar.value)) {
      begin = std::min(begin, at);
      end = at + scalar.length;
    }
    at += scalar.length;
  }
  return text.substr(begin, end - begin);
}

std::u32string scalarsOf(Characters characters) {
  std::u32string scalars;
  for (const std::string_view character : characters) {
    for (std::size_t at = 0; at < character.size();) {
      const platform::Scalar scalar = platform::scalarAt(character, at);
      if (scalar.wellFormed) scalars.push_back(scalar.value);
      at += scalar.length;
    }
  }
  return scalars;
}

std::int64_t countOf(const std::vector<std::size_t>& boundaries) {
  return static_cast<std::int64_t>(boundaries.size()) - 1;
}

/// The position counted from the beginning; 0 for one before the beginning.
std::int64_t clampedStart(std::int64_t from, std::int64_t length) {
  if (from >= 0) return from;
  return from >= -length ? length + from : 0;
}

struct Slice {
  std::int64_t from;
  std::int64_t end;
  bool trim;
};

std::string_view slice(std::string_view text, const std::vector<std::size_t>& boundaries, Slice range) {
  const std::size_t begin = boundaries[static_cast<std::size_t>(range.from)];
  const std::size_t end = boundaries[static_cast<std::size_t>(range.end)];
  const std::string_view result = text.substr(begin, end - begin);
  return range.trim ? trim(result) : result;
}

}  // namespace

bool isNewline(char32_t scalar) {
  return (scalar >= 0x0A && scalar <= 0x0D) || scalar == 0x85 || scalar == 0x2028 || scalar == 0x2029;
}

bool isWhitespaceOrNewline(char32_t scalar) { return isWhitespace(scalar) || isNewline(scalar); }

std::string_view trim(std::string_view text, Characters trimCharacters) {
  if (trimCharacters.size() == 0) {
    // Nearly every end of a text is told by the first comparison.
    constexpr auto isGraphicAscii = [](char32_t scalar) { return scalar > ' ' && scalar < 0x7F; };
    return trimScalars(
        text, [&](char32_t scalar) { return !isGraphicAscii(scalar) && isWhitespaceOrNewline(scalar); });
  }
  const std::u32string scalars = scalarsOf(trimCharacters);
  return trimScalars(text, [&](char32_t scalar) { return scalars.find(scalar) != std::u32string::npos; });
}

std::string_view trimWhitespace(std::string_view text) { return trimScalars(text, isWhitespace); }

std::string_view ltrim(std::string_view text, Characters trimCharacters) {
  if (trimCharacters.size() == 0) return text;
  const std::vector<std::size_t> boundaries = platform::characterBoundaries(text);
  for (std::size_t index = 0; index + 1 < boundaries.size(); ++index) {
    const auto character = text.substr(boundaries[index], boundaries[index + 1] - boundaries[index]);
    const bool strips = std::ranges::any_of(trimCharacters, [&](std::string_view stripped) {
      return platform::isCanonicallyEqual(character, stripped);
    });
    if (!strips) return text.substr(boundaries[index]);
  }
  return text.substr(text.size());
}

std::int64_t characterCount(std::string_view text) { return countOf(platform::characterBoundaries(text)); }

std::string_view substr(std::string_view text, CharactersTo range) {
  const std::vector<std::size_t> boundaries = platform::characterBoundaries(text);
  const auto length = countOf(boundaries);
  if (range.from >= length || range.to < -length) return {};
  const std::int64_t from = clampedStart(range.from, length);
  const std::int64_t end = range.to < 0 ? length + range.to + 1 : std::min(range.to, length - 1) + 1;
  if (from > end) return {};
  return slice(text, boundaries, {.from = from, .end = end, .trim = range.trim});
}

std::string_view substr(std::string_view text, CharacterCount range) {
  const std::vector<std::size_t> boundaries = platform::characterBoundaries(text);
  const auto length = countOf(boundaries);
  if (range.from >= length || range.count <= 0) return {};
  const std::int64_t from = clampedStart(range.from, length);
  const std::int64_t end = from + std::min(range.count, length - from);
  return slice(text, boundaries, {.from = from, .end = end, .trim = range.trim});
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (;;) {
    const std::size_t at = text.find(separator);
    pieces.push_back(text.substr(0, at));
    if (at == std::string_view::npos) return pieces;
    text.remove_prefix(at + 1);
  }
}

std::optional<std::int64_t> decimalInteger(std::string_view text) {
  // from_chars accepts a leading "-" but no "+".
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc{} || result.ptr != end) return std::nullopt;
  return number;
}

}  // namespace quelto::util
