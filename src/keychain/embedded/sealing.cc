#include "keychain/embedded/sealing.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <memory>

#include "keychain/embedded/failure.h"

namespace quelto::keychain::embedded {
namespace {

constexpr std::size_t nonceSize = 12;
constexpr std::size_t tagSize = 16;
/// OpenSSL counts in int.
constexpr std::size_t maximumSize = std::size_t{1} << 30U;

struct ContextDeleter {
  // Overwrites the expanded key too.
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_CIPHER_CTX, ContextDeleter>;

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* bytesOf(char* text) { return reinterpret_cast<unsigned char*>(text); }

enum class Direction : int { open = 0, seal = 1 };

/// A cipher that has taken key, nonce and what the text is bound to, and comes to the text next.
Context begin(Direction direction, const platform::Secret& key, std::string_view nonce,
              std::string_view boundTo) {
  Context context(EVP_CIPHER_CTX_new());
  int ignored = 0;
  const bool isReady = context && key.size() == sealingKeySize &&
                       EVP_CipherInit_ex2(context.get(), EVP_aes_256_gcm(), bytesOf(key.view()),
                                          bytesOf(nonce), static_cast<int>(direction), nullptr) == 1 &&
                       // SECURITY: without the binding a password sealed for one item opens as another's, and
                       // so can be sent to a host that it was not saved for.
                       EVP_CipherUpdate(context.get(), nullptr, &ignored, bytesOf(boundTo),
                                        static_cast<int>(boundTo.size())) == 1;
  if (!isReady) throw Failure(errSecIO);
  return context;
}

/// An empty text has no bytes to hand over.
bool pass(EVP_CIPHER_CTX* context, std::string_view text, char* output) {
  int count = 0;
  return text.empty() || EVP_CipherUpdate(context, bytesOf(output), &count, bytesOf(text),
                                          static_cast<int>(text.size())) == 1;
}

}  // namespace

std::string seal(const platform::Secret& key, std::string_view plain, std::string_view boundTo) {
  if (plain.size() > maximumSize || boundTo.size() > maximumSize) throw Failure(errSecParam);
  std::string sealed(nonceSize + plain.size() + tagSize, '\0');
  if (RAND_bytes(bytesOf(sealed.data()), nonceSize) != 1) throw Failure(errSecIO);
  const Context context = begin(Direction::seal, key, {sealed.data(), nonceSize}, boundTo);
  char* const text = sealed.data() + nonceSize;
  char* const tag = text + plain.size();
  int count = 0;
  if (!pass(context.get(), plain, text) || EVP_CipherFinal_ex(context.get(), bytesOf(tag), &count) != 1 ||
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, tagSize, tag) != 1) {
    throw Failure(errSecIO);
  }
  return sealed;
}

platform::Secret unseal(const platform::Secret& key, std::string_view sealed, std::string_view boundTo) {
  if (sealed.size() < nonceSize + tagSize || sealed.size() > maximumSize || boundTo.size() > maximumSize) {
    throw Failure(errSecAuthFailed);
  }
  const Context context = begin(Direction::open, key, sealed.substr(0, nonceSize), boundTo);
  const std::string_view text = sealed.substr(nonceSize, sealed.size() - nonceSize - tagSize);
  std::string tag(sealed.substr(sealed.size() - tagSize));
  platform::Secret plain = platform::Secret::ofSize(text.size());
  int count = 0;
  if (EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, tagSize, tag.data()) != 1 ||
      !pass(context.get(), text, plain.data()) ||
      // SECURITY: the one comparison of the tag; without it an altered or forged secret is handed out.
      EVP_CipherFinal_ex(context.get(), bytesOf(tag.data()), &count) != 1) {
    throw Failure(errSecAuthFailed);
  }
  return plain;
}

}  // namespace quelto::keychain::embedded
