#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace quelto::ui {

/// The longest filled format, in bytes: more than anybody reads, and little enough that no table can fill the
/// memory.
inline constexpr std::size_t maximumFormattedSize = std::size_t{1} << 20;

/// Fills a format from a string table: "%@" is the next argument, "%2$@" the second one, "%%" a percent sign.
/// A missing argument is the empty text, a surplus one is ignored, and a "%" before anything else stays as it
/// is: tables are data, and no format is an error. What is beyond `maximumFormattedSize` is left out, without
/// cutting a scalar of UTF-8. Thread-safe.
[[nodiscard]] std::string formatted(std::string_view format, std::span<const std::string> arguments);

}  // namespace quelto::ui
