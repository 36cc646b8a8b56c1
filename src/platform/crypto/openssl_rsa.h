#pragma once

#include "platform/crypto/crypto_service.h"

/// What `CryptoService` promises of RSA, inside the module.
namespace quelto::platform::openssl {

[[nodiscard]] std::optional<RsaKeyPair> generateRsaKeyPair(unsigned bits);
[[nodiscard]] std::shared_ptr<const RsaKey> openRsaKey(RsaHalf half, std::string_view der);

}  // namespace quelto::platform::openssl
