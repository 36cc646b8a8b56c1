#include "keychain/sec_key.h"

#include <array>
#include <utility>

#include "keychain/item_dictionary.h"
#include "keychain/item_place.h"

namespace quelto::keychain {

SecKeyRef SecKey::open(Half half, const platform::Secret& der) {
  if (!canUseKeys()) return nullptr;
  const std::shared_ptr<SecKey> key(new SecKey);
  if (half == Half::privateKey) key->coreDumpsOff_.emplace();
  key->rsaKey_ = platform::crypto()->openRsaKey(half, der.view());
  return key->rsaKey_ != nullptr ? key : nullptr;
}

bool canUseKeys() { return platform::crypto() != nullptr; }

SecKeyRef SecKeyCreateRandomKey(const SecDictionary& attributes, OSStatus& error) {
  auto asked = newKeyPairOf(attributes);
  error = errSecParam;
  if (!asked) return nullptr;
  error = errSecNotAvailable;
  if (!canUseKeys()) return nullptr;
  const platform::CoreDumpsOff whileItIsMade;
  auto pair = platform::crypto()->generateRsaKeyPair(asked->bits);
  error = errSecParam;
  if (!pair) return nullptr;
  asked->privateKey.secret = std::move(pair->privateKey);
  asked->publicKey.secret = std::move(pair->publicKey);
  const std::array halves{std::move(asked->privateKey), std::move(asked->publicKey)};
  const PlacedStore placed = storeForAdding();
  error = placed.store != nullptr ? placed.store->add(halves) : placed.status;
  if (error != errSecSuccess) return nullptr;
  return SecKey::open(SecKey::Half::privateKey, halves.front().secret);
}

std::size_t SecKeyGetBlockSize(const SecKey& key) { return key.rsaKey().blockSize(); }

std::optional<platform::Secret> SecKeyCreateEncryptedData(const SecKey& key, SecKeyAlgorithm /*algorithm*/,
                                                          std::string_view plaintext) {
  return key.rsaKey().encrypted(plaintext);
}

std::optional<platform::Secret> SecKeyCreateDecryptedData(const SecKey& key, SecKeyAlgorithm /*algorithm*/,
                                                          std::string_view ciphertext) {
  return key.rsaKey().decrypted(ciphertext);
}

}  // namespace quelto::keychain
