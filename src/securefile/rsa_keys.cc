#include "securefile/rsa_keys.h"

#include <algorithm>
#include <memory>

#include "items/access_list.h"
#include "keychain/sec_item.h"
#include "keychain/sec_key.h"
#include "platform/crypto/base64.h"
#include "platform/text/utf8.h"

namespace quelto::securefile {
namespace {

using namespace keychain;
using platform::Secret;
using Half = SecKey::Half;

/// What PKCS #1 v1.5 padding takes of each block.
constexpr std::size_t paddingSize = 11;

SecConstant keyClassOf(Half half) {
  return half == Half::privateKey ? kSecAttrKeyClassPrivate : kSecAttrKeyClassPublic;
}

SecData tagOf(const std::string& identify, Half half) {
  return std::make_shared<const Secret>(identify + (half == Half::privateKey ? ".privateKey" : ".publicKey"));
}

std::shared_ptr<const SecDictionary> attributesOf(const std::string& identify, Half half) {
  const bool isPrivate = half == Half::privateKey;
  return std::make_shared<const SecDictionary>(SecDictionary{{kSecAttrIsPermanent, true},
                                                             {kSecAttrApplicationTag, tagOf(identify, half)},
                                                             {kSecAttrKeyClass, keyClassOf(half)},
                                                             {kSecAttrCanEncrypt, !isPrivate},
                                                             {kSecAttrCanDecrypt, isPrivate},
                                                             {kSecAttrCanVerify, !isPrivate},
                                                             {kSecAttrCanSign, isPrivate}});
}

SecDictionary attributesOf(const NewRSAKeyPair& wanted) {
  SecDictionary attributes{{kSecClass, kSecClassKey},
                           {kSecAttrKeyType, kSecAttrKeyTypeRSA},
                           {kSecAttrKeySizeInBits, wanted.keySize},
                           {kSecAttrEffectiveKeySize, wanted.keySize / 8},
                           {kSecAttrLabel, wanted.label},
                           {kSecAttrApplicationLabel, wanted.identify},
                           {kSecAttrCanDerive, false},
                           {kSecAttrCanWrap, true},
                           {kSecAttrCanUnwrap, false},
                           {kSecPrivateKeyAttrs, attributesOf(wanted.identify, Half::privateKey)},
                           {kSecPublicKeyAttrs, attributesOf(wanted.identify, Half::publicKey)}};
  if (const auto access = items::accessListOf(wanted.accessName, wanted.trustedAppPaths)) {
    attributes.set(kSecAttrAccess, access);
  }
  return attributes;
}

/// Means the halves of any size.
SecDictionary queryFor(const std::string& identify, Half half) {
  return {{kSecClass, kSecClassKey},
          {kSecAttrKeyType, kSecAttrKeyTypeRSA},
          {kSecAttrApplicationTag, tagOf(identify, half)},
          {kSecAttrKeyClass, keyClassOf(half)},
          {kSecReturnRef, true}};
}

void deleteAll(const std::string& identify, Half half) {
  SecDictionary query = queryFor(identify, half);
  query.set(kSecMatchLimit, kSecMatchLimitOne);
  while (SecItemDelete(query) == errSecSuccess) continue;
}

SecKeyRef find(const SecDictionary& query, OSStatus& error) {
  std::optional<SecValue> result;
  error = SecItemCopyMatching(query, &result);
  const auto* key = result ? std::get_if<SecKeyRef>(&*result) : nullptr;
  return key != nullptr ? *key : nullptr;
}

/// What `cipher` makes of each piece of the input, at most a block, joined. Absent when it fails on one.
template <typename Cipher>
std::optional<Secret> inPieces(std::string_view input, std::size_t pieceSize, std::size_t blockSize,
                               Cipher cipher) {
  Secret output = Secret::ofSize((input.size() + pieceSize - 1) / pieceSize * blockSize);
  std::size_t size = 0;
  for (; !input.empty(); input.remove_prefix(std::min(pieceSize, input.size()))) {
    const std::optional<Secret> block = cipher(input.substr(0, pieceSize));
    if (!block) return std::nullopt;
    std::ranges::copy(block->view(), output.data() + size);
    size += block->size();
  }
  output.shrink(size);
  return output;
}

}  // namespace

std::optional<RSAKeyPair> generateRSAKeyPair(const NewRSAKeyPair& wanted) {
  if (wanted.keySize < minimumKeySize || wanted.keySize > maximumKeySize) return std::nullopt;
  const SecDictionary attributes = attributesOf(wanted);
  deleteAll(wanted.identify, Half::publicKey);
  deleteAll(wanted.identify, Half::privateKey);
  OSStatus error = errSecSuccess;
  RSAKeyPair pair;
  pair.privateKey = SecKeyCreateRandomKey(attributes, error);
  if (pair.privateKey == nullptr) return std::nullopt;
  pair.publicKey = find(queryFor(wanted.identify, Half::publicKey), error);
  return pair.publicKey != nullptr ? std::optional(std::move(pair)) : std::nullopt;
}

SecKeyRef getRSAKeyFromKeychain(const RSAKeySearch& search, OSStatus& error) {
  SecDictionary query = queryFor(search.identify, search.isPrivate ? Half::privateKey : Half::publicKey);
  query.set(kSecAttrKeySizeInBits, search.keySize);
  if (search.label) query.set(kSecAttrLabel, *search.label);
  return find(query, error);
}

std::optional<Secret> rsaEncryptData(std::string_view source, const SecKey& publicKey) {
  const std::size_t blockSize = SecKeyGetBlockSize(publicKey);
  if (source.empty() || !platform::isValidUtf8(source) || blockSize <= paddingSize) return std::nullopt;
  return inPieces(source, blockSize - paddingSize, blockSize, [&](std::string_view piece) {
    return SecKeyCreateEncryptedData(publicKey, kSecKeyAlgorithmRSAEncryptionPKCS1, piece);
  });
}

std::optional<Secret> rsaDecryptData(std::string_view source, const SecKey& privateKey) {
  const std::size_t blockSize = SecKeyGetBlockSize(privateKey);
  const auto blocks = source.empty() ? std::nullopt : platform::bytesOfBase64(source);
  if (!blocks || blockSize <= paddingSize) return std::nullopt;
  return inPieces(*blocks, blockSize, blockSize, [&](std::string_view piece) {
    return SecKeyCreateDecryptedData(privateKey, kSecKeyAlgorithmRSAEncryptionPKCS1, piece);
  });
}

}  // namespace quelto::securefile
