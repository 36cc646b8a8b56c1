#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <climits>
#include <string>
#include <utility>

#include "platform/crypto/rsa_service.h"

namespace quelto::platform {
namespace {

template <auto function>
struct Release {
  template <typename Type>
  void operator()(Type* object) const {
    function(object);
  }
};

using KeyOwner = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using ContextOwner = std::unique_ptr<EVP_PKEY_CTX, Release<EVP_PKEY_CTX_free>>;
using KeyInfoOwner = std::unique_ptr<PKCS8_PRIV_KEY_INFO, Release<PKCS8_PRIV_KEY_INFO_free>>;

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* bytesOf(Secret& secret) { return reinterpret_cast<unsigned char*>(secret.data()); }

/// Encodes in DER: one of OpenSSL's i2d functions, which tell the length first. Empty when it cannot.
template <typename Object>
Secret encoded(Object* object, int (*encode)(Object*, unsigned char**)) {
  const int size = encode(object, nullptr);
  if (size <= 0) return {};
  Secret der = Secret::ofSize(static_cast<std::size_t>(size));
  unsigned char* end = bytesOf(der);
  return encode(object, &end) == size ? std::move(der) : Secret();
}

class OpenSslKey final : public RsaKey {
 public:
  explicit OpenSslKey(KeyOwner key) : key_(std::move(key)) {}

  [[nodiscard]] std::size_t blockSize() const override {
    return static_cast<std::size_t>(EVP_PKEY_get_size(key_.get()));
  }

  [[nodiscard]] std::optional<Secret> encrypted(std::string_view plaintext) const override {
    return cipher(EVP_PKEY_encrypt_init, EVP_PKEY_encrypt, plaintext);
  }

  [[nodiscard]] std::optional<Secret> decrypted(std::string_view block) const override {
    return cipher(EVP_PKEY_decrypt_init, EVP_PKEY_decrypt, block);
  }

 private:
  using Init = int (*)(EVP_PKEY_CTX*);
  using Run = int (*)(EVP_PKEY_CTX*, unsigned char*, std::size_t*, const unsigned char*, std::size_t);

  [[nodiscard]] std::optional<Secret> cipher(Init init, Run run, std::string_view input) const {
    const ContextOwner context(EVP_PKEY_CTX_new(key_.get(), nullptr));
    if (context == nullptr || init(context.get()) <= 0 ||
        EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) <= 0) {
      return std::nullopt;
    }
    refuseBadPadding(context.get());
    std::size_t size = 0;
    if (run(context.get(), nullptr, &size, bytesOf(input), input.size()) <= 0) return std::nullopt;
    Secret output = Secret::ofSize(size);
    if (run(context.get(), bytesOf(output), &size, bytesOf(input), input.size()) <= 0) return std::nullopt;
    output.shrink(size);
    return output;
  }

  /// Newer versions of the library answer a block with wrong padding with random bytes, so that an attacker
  /// on a network learns nothing from it. Here there is none, and the bytes would be taken for a password.
  static void refuseBadPadding(EVP_PKEY_CTX* context) {
    unsigned int off = 0;
    const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_uint("implicit-rejection", &off),
                                     OSSL_PARAM_construct_end()};
    // Versions that do not know the parameter ignore it.
    (void)EVP_PKEY_CTX_set_params(context, parameters);
  }

  KeyOwner key_;
};

class OpenSslRsa final : public RsaService {
 public:
  [[nodiscard]] std::optional<Pair> generate(unsigned bits) const override {
    const KeyOwner key(EVP_RSA_gen(bits));
    if (key == nullptr) return std::nullopt;
    const KeyInfoOwner information(EVP_PKEY2PKCS8(key.get()));
    if (information == nullptr) return std::nullopt;
    Pair pair{.privateKey = encoded<const PKCS8_PRIV_KEY_INFO>(information.get(), i2d_PKCS8_PRIV_KEY_INFO),
              .publicKey = encoded<const EVP_PKEY>(key.get(), i2d_PUBKEY)};
    if (pair.privateKey.size() == 0 || pair.publicKey.size() == 0) return std::nullopt;
    return pair;
  }

  [[nodiscard]] std::shared_ptr<const RsaKey> open(Half half, std::string_view der) const override {
    if (der.size() > INT_MAX) return nullptr;
    KeyOwner key = half == Half::privateKey ? privateKey(der) : publicKey(der);
    if (key == nullptr || EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_RSA) return nullptr;
    return std::make_shared<const OpenSslKey>(std::move(key));
  }

 private:
  static KeyOwner privateKey(std::string_view der) {
    const unsigned char* at = bytesOf(der);
    const KeyInfoOwner information(d2i_PKCS8_PRIV_KEY_INFO(nullptr, &at, static_cast<long>(der.size())));
    return KeyOwner(information != nullptr ? EVP_PKCS82PKEY(information.get()) : nullptr);
  }

  static KeyOwner publicKey(std::string_view der) {
    const unsigned char* at = bytesOf(der);
    return KeyOwner(d2i_PUBKEY(nullptr, &at, static_cast<long>(der.size())));
  }
};

}  // namespace
}  // namespace quelto::platform

const quelto::platform::RsaService* queltoRsaService() {
  static const quelto::platform::OpenSslRsa service;
  return &service;
}
