#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/crypto/base64.h"
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

  /// One block with PKCS #1 v1.5 padding; absent for the private half, and when the text is longer than the
  /// block size less 11 bytes.
  [[nodiscard]] virtual std::optional<Secret> encrypted(std::string_view plaintext) const = 0;

  /// One block with its padding taken off; absent for the public half, and when the padding is wrong. That of
  /// a block for another key is, but for one in about 100,000: PKCS #1 v1.5 has no better check.
  [[nodiscard]] virtual std::optional<Secret> decrypted(std::string_view block) const = 0;
};

enum class RsaHalf { publicKey, privateKey };

/// The two halves of a pair in DER: a PrivateKeyInfo (PKCS #8, RFC 5208) and a SubjectPublicKeyInfo (RFC
/// 5280).
struct RsaKeyPair {
  Secret privateKey;
  Secret publicKey;
};

/// What the crypto module offers. Thread-safe.
class CryptoService {
 public:
  CryptoService() = default;
  CryptoService(const CryptoService&) = delete;
  CryptoService& operator=(const CryptoService&) = delete;

  /// As in digest.h and base64.h, which callers use.
  [[nodiscard]] virtual std::optional<std::string> sha256(std::string_view bytes) const = 0;
  [[nodiscard]] virtual std::string base64(std::string_view bytes, Base64Lines lines) const = 0;
  [[nodiscard]] virtual std::optional<std::string> bytesOfBase64(std::string_view text) const = 0;

  /// A new pair; absent for a size that the library refuses, or without randomness.
  [[nodiscard]] virtual std::optional<RsaKeyPair> generateRsaKeyPair(unsigned bits) const = 0;

  /// A key from its half of a pair; null when the bytes are not one.
  [[nodiscard]] virtual std::shared_ptr<const RsaKey> openRsaKey(RsaHalf half,
                                                                 std::string_view der) const = 0;

 protected:
  ~CryptoService() = default;
};

/// The crypto module, opened on first use; null when it is not installed. Thread-safe.
[[nodiscard]] const CryptoService* crypto();

}  // namespace quelto::platform

/// The module's one entry. The service lives as long as the process.
extern "C" [[gnu::visibility("default")]] const quelto::platform::CryptoService* queltoCryptoService();
