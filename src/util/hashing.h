#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quelto::util {

/// The 32 bytes of the SHA-256 digest (FIPS 180-4); absent without the crypto module. Thread-safe.
[[nodiscard]] std::optional<std::string> sha256data(std::string_view bytes);

struct Sha256Text {
  /// Whether "_", "-" and "," take the places of "/", "+" and "=", so that the result may be a file name or
  /// the name of a section.
  bool secure = false;
};
/// The digest of a text in standard Base64 (RFC 4648): always 44 characters. These are all "-" when the text
/// is not well-formed UTF-8, and without the crypto module. Thread-safe.
[[nodiscard]] std::string sha256base64(std::string_view text, Sha256Text form);

}  // namespace quelto::util
