#pragma once

#include <string>
#include <string_view>

/// Texts from outside, made harmless for the place that shows or takes them. All functions are thread-safe.
namespace quelto::platform {

/// The text as a window can show it: ill-formed parts and NULs become U+FFFD.
[[nodiscard]] std::string displayableText(std::string_view text);

/// The text for one line of a terminal: like `displayableText`, and with "?" for each character that could
/// steer the terminal or reorder what it shows: control characters, line breaks and marks of text direction.
[[nodiscard]] std::string terminalText(std::string_view text);

/// The same for several lines: each line break becomes a line feed.
[[nodiscard]] std::string terminalLines(std::string_view text);

/// The text on one line: each line break (Unicode standard, section 5.8) becomes a blank, all else stays as
/// it is. CR LF is one line break.
[[nodiscard]] std::string joinedLines(std::string_view text);

/// The text as a field of one line holds it: control characters and line breaks are left out, all else stays
/// as it is, even ill-formed parts.
[[nodiscard]] std::string singleLineText(std::string_view text);

}  // namespace quelto::platform
