#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Digits that make a file's name differ from every other.
namespace quelto::platform {

inline constexpr std::string_view hexadecimalDigits = "0123456789abcdef";
inline constexpr std::size_t randomDigitsLength = 16;

/// Sixteen random hexadecimal digits; empty when the system has no randomness. Thread-safe.
[[nodiscard]] std::string randomDigits();

}  // namespace quelto::platform
