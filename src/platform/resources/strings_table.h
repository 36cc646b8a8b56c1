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
/// value, between white space and comments in the style of C and C++. Words of letters, digits and "_$:./-"
/// need no quotes. Within quotes, "\" introduces \a \b \f \n \r \t \v, an octal code or \U with up to four
/// hexadecimal digits (a UTF-16 unit); before a line end it stays as it is, and before any other character it
/// goes.
///
/// The encoding is UTF-8, or UTF-16 behind a byte-order mark. Of two entries with one key the later counts.
/// Never fails: a content that breaks the rules has the entries that end before the break. Thread-safe.
[[nodiscard]] StringsTable parseStringsTable(std::string_view content);

}  // namespace quelto::platform
