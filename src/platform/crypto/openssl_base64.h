#pragma once

#include "platform/crypto/base64.h"

/// What base64.h promises, inside the module.
namespace quelto::platform::openssl {

[[nodiscard]] std::string base64(std::string_view bytes, Base64Lines lines);
[[nodiscard]] std::optional<std::string> bytesOfBase64(std::string_view text);

}  // namespace quelto::platform::openssl
