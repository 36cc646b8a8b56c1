#include "platform/crypto/openssl_rsa.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <algorithm>
#include <climits>
#include <string>
#include <utility>

#include "platform/crypto/openssl_owners.h"

namespace quelto::platform::openssl {
namespace {

using KeyOwner = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using ContextOwner = std::unique_ptr<EVP_PKEY_CTX, Release<EVP_PKEY_CTX_free>>;
using KeyInfoOwner = std::unique_ptr<PKCS8_PRIV_KEY_INFO, Release<PKCS8_PRIV_KEY_INFO_free>>;

/// Encodes in DER: one of OpenSSL's i2d functions, which tell the length first. Empty when it cannot.
template <typename Object>
Secret encoded(Object* object, int (*encode)(Object*, unsigned char**)) {
  const int size = encode(object, nullptr);
  if (size <= 0) return {};
  Secret der = Secret::ofSize(static_cast<std::size_t>(size));
  unsigned char* end = octets(der.data());
  return encode(object, &end) == size ? std::move(der) : Secret();
}

/// Newer versions of the library answer a block with wrong padding with random bytes, so that an attacker on
/// a network learns nothing from it. Here there is none, and the bytes would be taken for a password.
/// Versions that do not know the parameter pass over it. False when it is known and refused.
bool refuseBadPadding(EVP_PKEY_CTX* context) {
  unsigned int off = 0;
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_uint("implicit-rejection", &off),
                                   OSSL_PARAM_construct_end()};
  return EVP_PKEY_CTX_set_params(context, parameters) > 0;
}

/// The half's one operation, ready to be copied for each block. Null for what is not an RSA key.
ContextOwner operationOf(EVP_PKEY* key, RsaHalf half) {
  if (key == nullptr || EVP_PKEY_get_base_id(key) != EVP_PKEY_RSA) return nullptr;
  ContextOwner context(EVP_PKEY_CTX_new(key, nullptr));
  const bool isPrivate = half == RsaHalf::privateKey;
  if (context == nullptr || (isPrivate ? EVP_PKEY_decrypt_init : EVP_PKEY_encrypt_init)(context.get()) <= 0 ||
      EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) <= 0 ||
      (isPrivate && !refuseBadPadding(context.get()))) {
    return nullptr;
  }
  return context;
}

class OpenSslKey final : public RsaKey {
 public:
  explicit OpenSslKey(ContextOwner operation) : operation_(std::move(operation)) {}

  [[nodiscard]] std::size_t blockSize() const override {
    return static_cast<std::size_t>(std::max(EVP_PKEY_get_size(EVP_PKEY_CTX_get0_pkey(operation_.get())), 0));
  }

  [[nodiscard]] std::optional<Secret> encrypted(std::string_view plaintext) const override {
    return resultOf(EVP_PKEY_encrypt, plaintext);
  }

  [[nodiscard]] std::optional<Secret> decrypted(std::string_view block) const override {
    return resultOf(EVP_PKEY_decrypt, block);
  }

 private:
  using Run = int (*)(EVP_PKEY_CTX*, unsigned char*, std::size_t*, const unsigned char*, std::size_t);

  [[nodiscard]] std::optional<Secret> resultOf(Run run, std::string_view input) const {
    // A copy of its own for each call, since several threads may use the key. It costs less than a new one,
    // and refuses the operation of the other half.
    const ContextOwner operation(EVP_PKEY_CTX_dup(operation_.get()));
    if (operation == nullptr) return std::nullopt;
    std::size_t size = blockSize();
    Secret output = Secret::ofSize(size);
    if (run(operation.get(), octets(output.data()), &size, octets(input), input.size()) <= 0)
      return std::nullopt;
    output.shrink(size);
    return output;
  }

  ContextOwner operation_;
};

KeyOwner privateKey(std::string_view der) {
  const unsigned char* at = octets(der);
  const KeyInfoOwner information(d2i_PKCS8_PRIV_KEY_INFO(nullptr, &at, static_cast<long>(der.size())));
  return KeyOwner(information != nullptr ? EVP_PKCS82PKEY(information.get()) : nullptr);
}

KeyOwner publicKey(std::string_view der) {
  const unsigned char* at = octets(der);
  return KeyOwner(d2i_PUBKEY(nullptr, &at, static_cast<long>(der.size())));
}

}  // namespace

std::optional<RsaKeyPair> generateRsaKeyPair(unsigned bits) {
  const KeyOwner key(EVP_RSA_gen(bits));
  if (key == nullptr) return std::nullopt;
  const KeyInfoOwner information(EVP_PKEY2PKCS8(key.get()));
  if (information == nullptr) return std::nullopt;
  RsaKeyPair pair{
      .privateKey = encoded<const PKCS8_PRIV_KEY_INFO>(information.get(), i2d_PKCS8_PRIV_KEY_INFO),
      .publicKey = encoded<const EVP_PKEY>(key.get(), i2d_PUBKEY)};
  if (pair.privateKey.size() == 0 || pair.publicKey.size() == 0) return std::nullopt;
  return pair;
}

std::shared_ptr<const RsaKey> openRsaKey(RsaHalf half, std::string_view der) {
  if (der.size() > INT_MAX) return nullptr;
  const KeyOwner key = half == RsaHalf::privateKey ? privateKey(der) : publicKey(der);
  ContextOwner operation = operationOf(key.get(), half);
  return operation != nullptr ? std::make_shared<const OpenSslKey>(std::move(operation)) : nullptr;
}

}  // namespace quelto::platform::openssl
