#include <openssl/evp.h>

#include "platform/crypto/crypto_service.h"
#include "platform/crypto/openssl_base64.h"
#include "platform/crypto/openssl_owners.h"
#include "platform/crypto/openssl_rsa.h"

namespace quelto::platform {
namespace {

class OpenSsl final : public CryptoService {
 public:
  [[nodiscard]] std::optional<std::string> sha256(std::string_view bytes) const override {
    std::string digest(digestSize, '\0');
    const bool isDone = EVP_Digest(bytes.data(), bytes.size(), openssl::octets(digest.data()), nullptr,
                                   EVP_sha256(), nullptr) > 0;
    return isDone ? std::optional(std::move(digest)) : std::nullopt;
  }

  [[nodiscard]] std::string base64(std::string_view bytes, Base64Lines lines) const override {
    return openssl::base64(bytes, lines);
  }
  [[nodiscard]] std::optional<std::string> bytesOfBase64(std::string_view text) const override {
    return openssl::bytesOfBase64(text);
  }

  [[nodiscard]] std::optional<RsaKeyPair> generateRsaKeyPair(unsigned bits) const override {
    return openssl::generateRsaKeyPair(bits);
  }
  [[nodiscard]] std::shared_ptr<const RsaKey> openRsaKey(RsaHalf half, std::string_view der) const override {
    return openssl::openRsaKey(half, der);
  }

 private:
  static constexpr std::size_t digestSize = 32;
};

}  // namespace
}  // namespace quelto::platform

const quelto::platform::CryptoService* queltoCryptoService() {
  static const quelto::platform::OpenSsl service;
  return &service;
}
