#include "keychain/sec_key.h"

#include <array>
#include <utility>

#include "keychain/item_dictionary.h"
#include "keychain/keychain_choice.h"
#include "platform/bundle/module.h"
#include "platform/crypto/rsa_service.h"
#include "platform/secrets/core_dumps.h"

namespace quelto::platform {
namespace {

using keychain::RsaService;

/// Null when the module is not installed.
const RsaService* rsa() {
  static const RsaService* const service = moduleService<RsaService>("libquelto_rsa.so", "queltoRsaService");
  return service;
}

/// A private half with what has to hold as long as it lives.
struct GuardedKey {
  keychain::CoreDumpsOff coreDumpsOff;
  SecKeyRef key;
};

}  // namespace

namespace keychain {

SecKeyRef keyOf(std::string_view keyClass, const Secret& der) {
  if (rsa() == nullptr) return nullptr;
  if (keyClass != kSecAttrKeyClassPrivate.name) return rsa()->open(RsaService::Half::publicKey, der.view());
  const auto guarded = std::make_shared<GuardedKey>();
  guarded->key = rsa()->open(RsaService::Half::privateKey, der.view());
  return {guarded, guarded->key.get()};
}

}  // namespace keychain

SecKeyRef SecKeyCreateRandomKey(const SecDictionary& attributes, OSStatus& error) {
  auto asked = keychain::newKeyPairOf(attributes);
  error = errSecParam;
  if (!asked) return nullptr;
  if (rsa() == nullptr) {
    error = errSecNotAvailable;
    return nullptr;
  }
  const keychain::CoreDumpsOff whileItIsMade;
  auto pair = rsa()->generate(asked->bits);
  if (!pair) return nullptr;
  asked->privateKey.secret = std::move(pair->privateKey);
  asked->publicKey.secret = std::move(pair->publicKey);
  const std::array halves{std::move(asked->privateKey), std::move(asked->publicKey)};
  error = keychain::addToChosenStore(halves);
  if (error != errSecSuccess) return nullptr;
  return keychain::keyOf(kSecAttrKeyClassPrivate.name, halves.front().secret);
}

std::size_t SecKeyGetBlockSize(const SecKey& key) { return key.blockSize(); }

std::optional<Secret> SecKeyCreateEncryptedData(const SecKey& key, SecKeyAlgorithm /*algorithm*/,
                                                std::string_view plaintext) {
  return key.encrypted(plaintext);
}

std::optional<Secret> SecKeyCreateDecryptedData(const SecKey& key, SecKeyAlgorithm /*algorithm*/,
                                                std::string_view ciphertext) {
  return key.decrypted(ciphertext);
}

}  // namespace quelto::platform
