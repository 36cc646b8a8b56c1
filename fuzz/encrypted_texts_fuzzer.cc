#include <cstdlib>

#include "keychain/sec_key.h"
#include "platform/crypto/base64.h"
#include "platform/crypto/crypto_service.h"
#include "securefile/rsa_keys.h"

/// Any text may be decrypted, and one that can be encrypted comes back.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quelto;
  using keychain::SecKey;
  static const auto pair = platform::crypto()->generateRsaKeyPair(512);
  static const auto publicKey = SecKey::open(SecKey::Half::publicKey, pair->publicKey);
  static const auto privateKey = SecKey::open(SecKey::Half::privateKey, pair->privateKey);
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  (void)securefile::rsaDecryptData(text, *privateKey);
  const auto blocks = securefile::rsaEncryptData(text, *publicKey);
  const std::string source = blocks ? *platform::base64(blocks->view()) : "";
  return !blocks || securefile::rsaDecryptData(source, *privateKey)->view() == text ? 0 : (std::abort(), 1);
}
