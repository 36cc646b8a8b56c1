#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "keychain/os_status.h"
#include "keychain/sec_dictionary.h"
#include "platform/secrets/secret.h"

/// RSA key pairs in the keychain, and texts of any length encrypted with them. Thread-safe.
namespace quelto::securefile {

struct RSAKeyPair {
  keychain::SecKeyRef publicKey;
  keychain::SecKeyRef privateKey;
};

struct NewRSAKeyPair {
  /// In bits.
  std::int64_t keySize;
  /// Tags the halves: with ".publicKey" and ".privateKey" behind it.
  std::string identify;
  /// What a person reads in a list of the keychain.
  std::string label;
  /// The access list of both halves; there is none when nothing is at any of the paths.
  std::string accessName;
  std::vector<std::string> trustedAppPaths;
};
/// Makes a pair in place of every pair of that identity, of whatever size. Absent when it cannot be made or
/// its public half not be found again; the old pairs may be gone then, but not for a size that no key has
/// (`keychain::minimumKeySize`).
[[nodiscard]] std::optional<RSAKeyPair> generateRSAKeyPair(const NewRSAKeyPair& wanted);

struct RSAKeySearch {
  /// In bits. A key of another size is not found.
  std::int64_t keySize;
  bool isPrivate;
  std::string identify;
  /// Absent finds any.
  std::optional<std::string> label;
};
/// The half, or null. `error` is the keychain's status: `errSecSuccess` with a key only, `errSecItemNotFound`
/// only when a keychain that could be read has none.
[[nodiscard]] keychain::SecKeyRef getRSAKeyFromKeychain(const RSAKeySearch& search,
                                                        keychain::OSStatus& error);

/// The text in blocks of the key's size, which hold up to 11 bytes less each (PKCS #1 v1.5). Absent for the
/// empty text, for one that is not well-formed UTF-8, and when a block cannot be encrypted.
[[nodiscard]] std::optional<platform::Secret> rsaEncryptData(std::string_view source,
                                                             const keychain::SecKey& publicKey);

/// The plaintext of blocks in Base64, read as by `platform::bytesOfBase64`. Absent for the empty text, for
/// one that is not Base64, and when a block cannot be decrypted, as one of another size or for another key.
[[nodiscard]] std::optional<platform::Secret> rsaDecryptData(std::string_view source,
                                                             const keychain::SecKey& privateKey);

}  // namespace quelto::securefile
