#include "keychain/embedded/sealing.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>

#include "keychain/embedded/failure.h"
#include "platform/crypto/openssl_owners.h"

namespace quelto::keychain::embedded {
namespace {

using platform::openssl::octets;

constexpr std::size_t nonceSize = 12;
constexpr std::size_t tagSize = 16;
/// OpenSSL counts in int.
constexpr std::size_t maximumSize = std::size_t{1} << 30U;

}  // namespace

// Overwrites the expanded key too.
void SealingKey::ContextDeleter::operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }

SealingKey::SealingKey(const platform::Secret& bytes) : context_(EVP_CIPHER_CTX_new()) {
  if (bytes.size() != size) throw Failure(errSecAuthFailed);
  if (!context_ ||
      EVP_CipherInit_ex2(context_.get(), EVP_aes_256_gcm(), octets(bytes.view()), nullptr, 1, nullptr) != 1) {
    throw Failure(errSecIO);
  }
}

/// Leaves the cipher ready for the text.
void SealingKey::begin(Direction direction, std::string_view nonce, std::string_view boundTo) {
  int ignored = 0;
  // Without a key, this keeps the one that is set.
  const bool isReady = EVP_CipherInit_ex2(context_.get(), nullptr, nullptr, octets(nonce),
                                          static_cast<int>(direction), nullptr) == 1 &&
                       // SECURITY: without the binding a password sealed for one item opens as another's, and
                       // so can be sent to a host that it was not saved for.
                       EVP_CipherUpdate(context_.get(), nullptr, &ignored, octets(boundTo),
                                        static_cast<int>(boundTo.size())) == 1;
  if (!isReady) throw Failure(errSecIO);
}

bool SealingKey::pass(std::string_view text, char* output) {
  int count = 0;
  // OpenSSL takes no empty text.
  return text.empty() || EVP_CipherUpdate(context_.get(), octets(output), &count, octets(text),
                                          static_cast<int>(text.size())) == 1;
}

std::string SealingKey::seal(std::string_view plain, std::string_view boundTo) {
  if (plain.size() > maximumSize || boundTo.size() > maximumSize) throw Failure(errSecParam);
  std::string sealed(nonceSize + plain.size() + tagSize, '\0');
  if (RAND_bytes(octets(sealed.data()), nonceSize) != 1) throw Failure(errSecIO);
  begin(Direction::seal, {sealed.data(), nonceSize}, boundTo);
  char* const text = sealed.data() + nonceSize;
  char* const tag = text + plain.size();
  int count = 0;
  if (!pass(plain, text) || EVP_CipherFinal_ex(context_.get(), octets(tag), &count) != 1 ||
      EVP_CIPHER_CTX_ctrl(context_.get(), EVP_CTRL_AEAD_GET_TAG, tagSize, tag) != 1) {
    throw Failure(errSecIO);
  }
  return sealed;
}

std::optional<platform::Secret> SealingKey::unseal(std::string_view sealed, std::string_view boundTo) {
  if (sealed.size() < nonceSize + tagSize || sealed.size() > maximumSize || boundTo.size() > maximumSize)
    return std::nullopt;
  begin(Direction::unseal, sealed.substr(0, nonceSize), boundTo);
  const std::string_view text = sealed.substr(nonceSize, sealed.size() - nonceSize - tagSize);
  std::array<char, tagSize> tag{};
  sealed.copy(tag.data(), tagSize, sealed.size() - tagSize);
  platform::Secret plain = platform::Secret::ofSize(text.size());
  int count = 0;
  if (EVP_CIPHER_CTX_ctrl(context_.get(), EVP_CTRL_AEAD_SET_TAG, tagSize, tag.data()) != 1 ||
      !pass(text, plain.data()) ||
      // SECURITY: the one comparison of the tag; without it an altered or forged secret is handed out.
      EVP_CipherFinal_ex(context_.get(), octets(tag.data()), &count) != 1) {
    return std::nullopt;
  }
  return plain;
}

}  // namespace quelto::keychain::embedded
