#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Standard Base64 (RFC 4648, section 4) with padding, for bytes that need not be wiped. Absent without the
/// crypto module. Thread-safe.
namespace quelto::platform {

enum class Base64Lines {
  one,
  /// 64 characters each, the last one fewer; a line feed between two.
  of64Characters,
};
[[nodiscard]] std::optional<std::string> base64(std::string_view bytes, Base64Lines lines = Base64Lines::one);

/// Decodes what is left of the text without the characters that are neither of the alphabet nor "=". Absent
/// unless that is whole groups of four characters, with one or two "=" at the very end or none. Bits of the
/// last group that belong to no byte are ignored.
[[nodiscard]] std::optional<std::string> bytesOfBase64(std::string_view text);

}  // namespace quelto::platform
