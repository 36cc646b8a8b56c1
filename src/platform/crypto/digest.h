#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quelto::platform {

/// The 32 bytes of the SHA-256 digest (FIPS 180-4); absent without the crypto module. Thread-safe.
[[nodiscard]] std::optional<std::string> sha256(std::string_view bytes);

}  // namespace quelto::platform
