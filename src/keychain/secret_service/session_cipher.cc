#include "keychain/secret_service/session_cipher.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/param_build.h>
#include <openssl/rand.h>

#include <utility>

#include "platform/crypto/openssl_owners.h"

namespace quelto::keychain {
namespace {

using platform::openssl::octets;
using platform::openssl::Release;

/// In bytes.
constexpr std::size_t groupSize = 128;
constexpr std::size_t keySize = 16;
constexpr std::size_t blockSize = 16;
/// OpenSSL counts in int.
constexpr std::size_t maximumSize = std::size_t{1} << 30U;
/// In bits. More than twice the strength of the group, which is about 80 bits, would only take time.
constexpr long privateHalfLength = 256;

using Number = std::unique_ptr<BIGNUM, Release<BN_free>>;
using Parameters = std::unique_ptr<OSSL_PARAM, Release<OSSL_PARAM_free>>;
using ParameterBuilder = std::unique_ptr<OSSL_PARAM_BLD, Release<OSSL_PARAM_BLD_free>>;
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, Release<EVP_PKEY_CTX_free>>;
using Kdf = std::unique_ptr<EVP_KDF, Release<EVP_KDF_free>>;
using KdfContext = std::unique_ptr<EVP_KDF_CTX, Release<EVP_KDF_CTX_free>>;
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, Release<EVP_CIPHER_CTX_free>>;

/// The group, as what a key is made from; null when there is no memory.
Parameters groupParameters() {
  const Number prime(BN_get_rfc2409_prime_1024(nullptr));
  const Number generator(BN_new());
  const ParameterBuilder builder(OSSL_PARAM_BLD_new());
  const bool isBuilt =
      prime && generator && builder && BN_set_word(generator.get(), 2) == 1 &&
      OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_FFC_P, prime.get()) == 1 &&
      OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_FFC_G, generator.get()) == 1 &&
      OSSL_PARAM_BLD_push_long(builder.get(), OSSL_PKEY_PARAM_DH_PRIV_LEN, privateHalfLength) == 1;
  return Parameters(isBuilt ? OSSL_PARAM_BLD_to_param(builder.get()) : nullptr);
}

/// HKDF; empty when OpenSSL does not provide it.
platform::Secret keyFrom(platform::Secret common) {
  const Kdf kdf(EVP_KDF_fetch(nullptr, "HKDF", nullptr));
  const KdfContext context(EVP_KDF_CTX_new(kdf.get()));
  std::string digest = "SHA256";
  const OSSL_PARAM parameters[] = {
      OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest.data(), 0),
      OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_KEY, common.data(), common.size()),
      OSSL_PARAM_construct_end()};
  platform::Secret key = platform::Secret::ofSize(keySize);
  const bool isMade = context && EVP_KDF_derive(context.get(), octets(key.data()), keySize, parameters) == 1;
  return isMade ? std::move(key) : platform::Secret();
}

enum class Direction : int { open = 0, seal = 1 };

struct Input {
  std::string_view key;
  std::string_view initialVector;
  std::string_view text;
};

/// Writes at most one block more than the input has and returns how much that is; absent when it cannot.
std::optional<std::size_t> pass(Direction direction, const Input& input, char* output) {
  if (input.text.size() > maximumSize || input.initialVector.size() != blockSize) return std::nullopt;
  const CipherContext context(EVP_CIPHER_CTX_new());
  int size = 0;
  int rest = 0;
  const bool isDone =
      context && input.key.size() == keySize &&
      EVP_CipherInit_ex2(context.get(), EVP_aes_128_cbc(), octets(input.key), octets(input.initialVector),
                         static_cast<int>(direction), nullptr) == 1 &&
      EVP_CipherUpdate(context.get(), octets(output), &size, octets(input.text),
                       static_cast<int>(input.text.size())) == 1 &&
      EVP_CipherFinal_ex(context.get(), octets(output + size), &rest) == 1;
  return isDone ? std::optional(static_cast<std::size_t>(size + rest)) : std::nullopt;
}

}  // namespace

// Overwrites a private half.
void SessionCipher::FreeKey::operator()(evp_pkey_st* key) const { EVP_PKEY_free(key); }

std::unique_ptr<SessionCipher> SessionCipher::make() {
  const Parameters parameters = groupParameters();
  const KeyContext fromGroup(EVP_PKEY_CTX_new_from_name(nullptr, "DH", nullptr));
  EVP_PKEY* made = nullptr;
  if (!parameters || !fromGroup || EVP_PKEY_fromdata_init(fromGroup.get()) != 1 ||
      EVP_PKEY_fromdata(fromGroup.get(), &made, EVP_PKEY_KEY_PARAMETERS, parameters.get()) != 1)
    return nullptr;
  const KeyOwner group(made);
  const KeyContext context(EVP_PKEY_CTX_new_from_pkey(nullptr, group.get(), nullptr));
  made = nullptr;
  if (!context || EVP_PKEY_keygen_init(context.get()) != 1 || EVP_PKEY_keygen(context.get(), &made) != 1)
    return nullptr;
  return std::unique_ptr<SessionCipher>(new SessionCipher(KeyOwner(made)));
}

std::string SessionCipher::publicHalf() const {
  unsigned char* encoded = nullptr;
  const std::size_t size = EVP_PKEY_get1_encoded_public_key(privateHalf_.get(), &encoded);
  std::string half(reinterpret_cast<const char*>(encoded), size);
  OPENSSL_free(encoded);
  return half;
}

bool SessionCipher::agree(std::string_view peersHalf) {
  const KeyOwner ours = std::move(privateHalf_);
  const KeyOwner peers(EVP_PKEY_new());
  if (!ours || !peers || EVP_PKEY_copy_parameters(peers.get(), ours.get()) != 1 ||
      EVP_PKEY_set1_encoded_public_key(peers.get(), octets(peersHalf), peersHalf.size()) != 1)
    return false;
  // Leading zeros count: without them one session in 256 would have another key than the peer.
  unsigned int isPadded = 1;
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_uint(OSSL_EXCHANGE_PARAM_PAD, &isPadded),
                                   OSSL_PARAM_construct_end()};
  const KeyContext context(EVP_PKEY_CTX_new_from_pkey(nullptr, ours.get(), nullptr));
  platform::Secret common = platform::Secret::ofSize(groupSize);
  std::size_t size = common.size();
  if (!context || EVP_PKEY_derive_init_ex(context.get(), parameters) != 1 ||
      EVP_PKEY_derive_set_peer(context.get(), peers.get()) != 1 ||
      EVP_PKEY_derive(context.get(), octets(common.data()), &size) != 1 || size != groupSize)
    return false;
  key_ = keyFrom(std::move(common));
  return key_.size() == keySize;
}

std::optional<SessionCipher::Sealed> SessionCipher::seal(std::string_view secret) const {
  Sealed sealed{.initialVector = std::string(blockSize, '\0'),
                .text = std::string(secret.size() + blockSize, '\0')};
  if (RAND_bytes(octets(sealed.initialVector.data()), blockSize) != 1) return std::nullopt;
  const Input input{.key = key_.view(), .initialVector = sealed.initialVector, .text = secret};
  const auto size = pass(Direction::seal, input, sealed.text.data());
  if (!size) return std::nullopt;
  sealed.text.resize(*size);
  return sealed;
}

std::optional<platform::Secret> SessionCipher::open(const Sealed& sealed) const {
  platform::Secret secret = platform::Secret::ofSize(sealed.text.size() + blockSize);
  const Input input{.key = key_.view(), .initialVector = sealed.initialVector, .text = sealed.text};
  const auto size = pass(Direction::open, input, secret.data());
  if (!size) return std::nullopt;
  secret.shrink(*size);
  return secret;
}

}  // namespace quelto::keychain
