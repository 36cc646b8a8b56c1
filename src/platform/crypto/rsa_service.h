#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/secrets/secret.h"

namespace quelto::platform {

/// One half of an RSA key pair (RFC 8017). Immutable; thread-safe.
class RsaKey {
 public:
  RsaKey() = default;
  virtual ~RsaKey() = default;
  RsaKey(const RsaKey&) = delete;
  RsaKey& operator=(const RsaKey&) = delete;

  /// The bytes of the modulus.
  [[nodiscard]] virtual std::size_t blockSize() const = 0;
  /// One block, padded as PKCS #1 v1.5 says; absent when the text is longer than the block size less 11
  /// bytes, or the other half would be needed.
  [[nodiscard]] virtual std::optional<Secret> encrypted(std::string_view plaintext) const = 0;
  [[nodiscard]] virtual std::optional<Secret> decrypted(std::string_view block) const = 0;
};

/// Makes and reads RSA keys. Thread-safe.
class RsaService {
 public:
  RsaService() = default;
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

  /// A key from its half of a pair; null when the bytes are not one.
  [[nodiscard]] virtual std::shared_ptr<const RsaKey> open(Half half, std::string_view der) const = 0;

 protected:
  ~RsaService() = default;
};

}  // namespace quelto::platform

/// The module's one entry. The service lives as long as the process.
extern "C" [[gnu::visibility("default")]] const quelto::platform::RsaService* queltoRsaService();
