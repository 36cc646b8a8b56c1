#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "keychain/os_status.h"
#include "keychain/sec_dictionary.h"
#include "platform/crypto/crypto_service.h"
#include "platform/secrets/core_dumps.h"
#include "platform/secrets/secret.h"

/// RSA key pairs (RFC 8017) that live in the keychain. Thread-safe.
namespace quelto::keychain {

/// One half of a pair. As long as a private half exists, the process writes no core file.
class SecKey {
 public:
  using Half = platform::RsaHalf;

  /// Reads a half in DER, as the keychain stores it; null when it is not one, or the crypto module is
  /// missing.
  [[nodiscard]] static SecKeyRef open(Half half, const platform::Secret& der);

  [[nodiscard]] const platform::RsaKey& rsaKey() const { return *rsaKey_; }

 private:
  SecKey() = default;

  std::optional<platform::CoreDumpsOff> coreDumpsOff_;
  std::shared_ptr<const platform::RsaKey> rsaKey_;
};

/// What RSA keys may have, in bits: OpenSSL makes none below, and needs minutes for one above.
inline constexpr std::int64_t minimumKeySize = 512;
inline constexpr std::int64_t maximumKeySize = 16384;

/// Whether keys can be made and used here: the crypto module is installed.
[[nodiscard]] bool canUseKeys();

/// Makes a pair and keeps both halves in the keychain or neither, as `ItemStore::add` does. The attributes
/// are those of the pair (`kSecClassKey`, `kSecAttrKeyTypeRSA`, `kSecAttrKeySizeInBits`, ...), with those of
/// the halves under `kSecPrivateKeyAttrs` and `kSecPublicKeyAttrs`; both must be permanent. Returns the
/// private half, or null with the reason in `error`: `errSecDuplicateItem` when there is a key of the same
/// tag, class, type and size, `errSecNotAvailable` without the crypto module, `errSecParam` for attributes or
/// a size that are refused.
[[nodiscard]] SecKeyRef SecKeyCreateRandomKey(const SecDictionary& attributes, OSStatus& error);

/// The bytes of the modulus.
[[nodiscard]] std::size_t SecKeyGetBlockSize(const SecKey& key);

enum class SecKeyAlgorithm { kSecKeyAlgorithmRSAEncryptionPKCS1 };
using enum SecKeyAlgorithm;

/// One block each way, padded as PKCS #1 v1.5 says; absent when the key is of the other half, or the text is
/// longer than the block size less 11 bytes.
[[nodiscard]] std::optional<platform::Secret> SecKeyCreateEncryptedData(const SecKey& key,
                                                                        SecKeyAlgorithm algorithm,
                                                                        std::string_view plaintext);
[[nodiscard]] std::optional<platform::Secret> SecKeyCreateDecryptedData(const SecKey& key,
                                                                        SecKeyAlgorithm algorithm,
                                                                        std::string_view ciphertext);

}  // namespace quelto::keychain
