#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace quelto::platform {

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

/// The entries of one string table, by key.
using StringsTable = std::unordered_map<std::string, std::string, TextHash, std::equal_to<>>;

/// Parses the content of a ".strings" file: entries `"key" = "value";`, or `"key";` for one that is its own
/// value, with white space and comments as in C++ between them. Words of letters, digits and "_$:./-" need no
/// quotes. In quotes, "\" begins \a \b \f \n \r \t \v, an octal code or \U with up to four hexadecimal digits
/// (a UTF-16 unit); it is kept before a line end and dropped before any other character.
///
/// The encoding is UTF-8, or UTF-16 after a byte-order mark. Of two entries with one key the later counts.
/// Never fails: of a content with a syntax error the entries before it are returned. Thread-safe.
[[nodiscard]] StringsTable parseStringsTable(std::string_view content);

}  // namespace quelto::platform
