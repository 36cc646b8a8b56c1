#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Helpers on text. A character is what a person sees as one (an extended grapheme cluster); texts are UTF-8
/// and may hold wrong bytes, which are kept. Nothing here fails, and every function is thread-safe.
namespace quelto::util {

/// A list of characters, each given as the text of one.
using Characters = std::initializer_list<std::string_view>;

/// Space separators, tab, line feed, vertical tab, form feed, carriage return, U+0085, U+2028 and U+2029.
[[nodiscard]] bool isWhitespaceOrNewline(char32_t scalar);
/// The line ends among them: U+000A to U+000D, U+0085, U+2028 and U+2029.
[[nodiscard]] bool isNewline(char32_t scalar);

/// Strips both ends of every scalar that one of the characters holds; without characters, of whitespace and
/// line ends.
[[nodiscard]] std::string_view trim(std::string_view text, Characters trimCharacters = {});

/// Strips both ends of space separators and tabs, but of no line end.
[[nodiscard]] std::string_view trimWhitespace(std::string_view text);

/// Strips the leading characters that are canonically equal to one of the given; without any, nothing.
[[nodiscard]] std::string_view ltrim(std::string_view text, Characters trimCharacters);

/// How many characters the text has.
[[nodiscard]] std::int64_t characterCount(std::string_view text);

/// The characters from one position to another, both included. Negative positions count from the end (-1 is
/// the last character); what lies outside is clamped, but a `to` before the beginning gives the empty text.
struct CharactersTo {
  std::int64_t from;
  std::int64_t to;
  /// Whether whitespace and line ends are stripped from the result.
  bool trim = false;
};
[[nodiscard]] std::string_view substr(std::string_view text, CharactersTo range);

/// So many characters from a position on, clamped at the end; a negative position counts from the end.
struct CharacterCount {
  std::int64_t from;
  std::int64_t count;
  bool trim = false;
};
[[nodiscard]] std::string_view substr(std::string_view text, CharacterCount range);

/// Every piece between the separators, empty ones included, as views into the text; at least one.
[[nodiscard]] std::vector<std::string_view> split(std::string_view text, char separator);

/// Reads a decimal integer: an optional "+" or "-", then ASCII digits and nothing else. Absent for any other
/// text and for a number that 64 bits do not hold.
[[nodiscard]] std::optional<std::int64_t> decimalInteger(std::string_view text);

}  // namespace quelto::util
