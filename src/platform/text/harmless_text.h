#pragma once

#include <string>
#include <string_view>

/// Texts from outside, made harmless for the place that shows or takes them. All functions are thread-safe.
namespace quelto::platform {

/// The text as a window can show it: ill-formed parts and NULs become U+FFFD.
[[nodiscard]] std::string displayableText(std::string_view text);

/// The text as a terminal may be given it: as `displayableText`, and with "?" for each character that could
/// steer the terminal or reorder what it shows: control characters, line ends, and the marks of text
/// direction.
[[nodiscard]] std::string terminalText(std::string_view text);

/// The text as a field of one line gives it: without control characters and line ends, all else unchanged,
/// ill-formed parts too.
[[nodiscard]] std::string singleLineText(std::string_view text);

}  // namespace quelto::platform
