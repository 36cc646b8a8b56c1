#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quelto::ui {

/// Fills a format from a string table: "%@" is the next argument, "%2$@" the second one, "%%" a percent sign.
/// An argument that is missing is the empty text, a surplus one is ignored, and whatever else follows a "%"
/// stands as it is: tables are data, and no format is an error. Thread-safe.
[[nodiscard]] std::string formatted(std::string_view format, std::span<const std::string> arguments);

}  // namespace quelto::ui
