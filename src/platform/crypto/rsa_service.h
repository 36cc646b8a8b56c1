#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "keychain/sec_key.h"
#include "platform/secrets/secret.h"

namespace quelto::platform::keychain {

/// RSA (RFC 8017) as the keychain needs it. Thread-safe.
class RsaService {
 public:
  RsaService() = default;
  virtual ~RsaService() = default;
  RsaService(const RsaService&) = delete;
  RsaService& operator=(const RsaService&) = delete;

  /// The two halves of a pair in DER: a PrivateKeyInfo (PKCS #8, RFC 5208) and a SubjectPublicKeyInfo (RFC
  /// 5280).
  struct Pair {
    Secret privateKey;
    Secret publicKey;
  };

  /// A new pair; absent for a size that the library refuses, or without randomness.
  [[nodiscard]] virtual std::optional<Pair> generate(unsigned bits) const = 0;

  enum class Half { publicKey, privateKey };

  /// A key from its half of a pair; null when the bytes are none.
  [[nodiscard]] virtual SecKeyRef open(Half half, std::string_view der) const = 0;
};

}  // namespace quelto::platform::keychain

/// The module's one entry.
extern "C" [[gnu::visibility("default")]] quelto::platform::keychain::RsaService* queltoRsaService();
