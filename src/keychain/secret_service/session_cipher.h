#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/secrets/secret.h"

struct evp_pkey_st;

namespace quelto::keychain {

/// How secrets are encrypted in a session that the Secret Service API calls
/// "dh-ietf1024-sha256-aes128-cbc-pkcs7": Diffie-Hellman in the second Oakley group (RFC 2409, section 6.2),
/// HKDF with SHA-256, without salt and information (RFC 5869), AES-128 in CBC mode with PKCS #7 padding (NIST
/// SP 800-38A, RFC 5652 section 6.3). The group is out of date, and nobody is authenticated: this keeps
/// secrets out of buffers, logs and core files, not from the user's own programs. One thread at a time.
class SessionCipher {
 public:
  /// With a new private half; null when OpenSSL does not provide the algorithms (in FIPS mode, say).
  [[nodiscard]] static std::unique_ptr<SessionCipher> make();

  /// Our public half, in big-endian order.
  [[nodiscard]] std::string publicHalf() const;

  /// Makes the key and drops the private half; false when the peer's public half is not one.
  [[nodiscard]] bool agree(std::string_view peersHalf);

  struct Sealed {
    std::string initialVector;
    std::string text;
  };
  /// Both after the agreement only; absent when a text is damaged, or longer than 1 GiB, or OpenSSL fails.
  [[nodiscard]] std::optional<Sealed> seal(std::string_view secret) const;
  [[nodiscard]] std::optional<platform::Secret> open(const Sealed& sealed) const;

 private:
  struct FreeKey {
    void operator()(evp_pkey_st* key) const;
  };
  using KeyOwner = std::unique_ptr<evp_pkey_st, FreeKey>;

  explicit SessionCipher(KeyOwner privateHalf) : privateHalf_(std::move(privateHalf)) {}

  KeyOwner privateHalf_;
  platform::Secret key_;
};

}  // namespace quelto::keychain
