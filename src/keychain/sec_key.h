#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "keychain/os_status.h"
#include "keychain/sec_dictionary.h"
#include "platform/secrets/secret.h"

/// RSA key pairs (RFC 8017) that live in the keychain. Thread-safe.
namespace quelto::platform {

/// One half of a pair. As long as a private half exists, the process writes no core file.
class SecKey {
 public:
  SecKey() = default;
  virtual ~SecKey() = default;
  SecKey(const SecKey&) = delete;
  SecKey& operator=(const SecKey&) = delete;

  /// The bytes of the modulus.
  [[nodiscard]] virtual std::size_t blockSize() const = 0;
  /// One block, padded as PKCS #1 v1.5 says; absent when the text is longer than the block size less 11
  /// bytes, or the other half would be needed.
  [[nodiscard]] virtual std::optional<Secret> encrypted(std::string_view plaintext) const = 0;
  [[nodiscard]] virtual std::optional<Secret> decrypted(std::string_view block) const = 0;
};

/// Makes a pair and keeps both halves in the keychain, or, unless the process or the place dies in between,
/// neither. The attributes are those of the pair (`kSecClassKey`, `kSecAttrKeyTypeRSA`,
/// `kSecAttrKeySizeInBits`, ...), with those of the halves under `kSecPrivateKeyAttrs` and
/// `kSecPublicKeyAttrs`; both must be permanent. Returns the private half, or null with the reason in
/// `error`: `errSecDuplicateItem` when there is a key of the same tag, class, type and size.
[[nodiscard]] SecKeyRef SecKeyCreateRandomKey(const SecDictionary& attributes, OSStatus& error);

[[nodiscard]] std::size_t SecKeyGetBlockSize(const SecKey& key);

enum class SecKeyAlgorithm { kSecKeyAlgorithmRSAEncryptionPKCS1 };
using enum SecKeyAlgorithm;

/// One block each way; absent when the key cannot do it or the input does not fit.
[[nodiscard]] std::optional<Secret> SecKeyCreateEncryptedData(const SecKey& key, SecKeyAlgorithm algorithm,
                                                              std::string_view plaintext);
[[nodiscard]] std::optional<Secret> SecKeyCreateDecryptedData(const SecKey& key, SecKeyAlgorithm algorithm,
                                                              std::string_view ciphertext);

namespace keychain {

/// The key that an item of the keychain holds; null when it holds none.
[[nodiscard]] SecKeyRef keyOf(std::string_view keyClass, const Secret& der);

}  // namespace keychain
}  // namespace quelto::platform
