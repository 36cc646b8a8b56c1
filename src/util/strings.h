#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Text helpers. A character is what a reader perceives as one (an extended grapheme cluster). Texts are
/// UTF-8; ill-formed bytes in them are kept. No function fails, and all are thread-safe.
namespace quelto::util {

/// A list of characters, each written as a text.
using Characters = std::initializer_list<std::string_view>;

/// Whether the scalar is a space separator, a tab or a line end.
[[nodiscard]] bool isWhitespaceOrNewline(char32_t scalar);
/// Whether the scalar is a line end: U+000A to U+000D, U+0085, U+2028 or U+2029.
[[nodiscard]] bool isNewline(char32_t scalar);

/// The text without the leading and trailing scalars that the given characters consist of; without characters
/// to strip, whitespace and line ends are stripped.
[[nodiscard]] std::string_view trim(std::string_view text, Characters trimCharacters = {});

/// The text without leading and trailing space separators and tabs; line ends are kept.
[[nodiscard]] std::string_view trimWhitespace(std::string_view text);

/// The text without the leading characters that are canonically equivalent to one of those given.
[[nodiscard]] std::string_view ltrim(std::string_view text, Characters trimCharacters);

/// The number of characters in the text.
[[nodiscard]] std::int64_t characterCount(std::string_view text);

/// The characters from one position to another, inclusive. Negative positions count from the end (-1 is the
/// last character). Positions outside the text are clamped, but a `to` before its beginning gives "".
struct CharactersTo {
  std::int64_t from;
  std::int64_t to;
  /// Whether the result is stripped of whitespace and line ends.
  bool trim = false;
};
[[nodiscard]] std::string_view substr(std::string_view text, CharactersTo range);

/// A number of characters from a position on, fewer where the text ends. A negative position counts from the
/// end; one before the beginning is the beginning.
struct CharacterCount {
  std::int64_t from;
  std::int64_t count;
  bool trim = false;
};
[[nodiscard]] std::string_view substr(std::string_view text, CharacterCount range);

/// The pieces between the separators, including empty ones, as views into the text; at least one.
[[nodiscard]] std::vector<std::string_view> split(std::string_view text, char separator);

/// Reads a decimal integer: an optional "+" or "-", then ASCII digits and nothing else. Absent for any other
/// text and for a number that does not fit in 64 bits.
[[nodiscard]] std::optional<std::int64_t> decimalInteger(std::string_view text);

}  // namespace quelto::util
