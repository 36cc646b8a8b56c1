#include "keychain/secret_service/session_cipher.h"

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <memory>
#include <string>

namespace quelto::keychain {
namespace {

using Number = std::unique_ptr<BIGNUM, decltype(&BN_free)>;

unsigned char* raw(std::string& bytes) { return reinterpret_cast<unsigned char*>(bytes.data()); }

std::string bytesOf(const Number& number) {
  std::string bytes(128, '\0');
  BN_bn2binpad(number.get(), raw(bytes), 128);
  return bytes;
}

std::string hmac(std::string key, std::string text) {
  std::string result(32, '\0');
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), raw(text), text.size(), raw(result), nullptr);
  return result;
}

/// The other side of a session.
struct Peer {
  std::string publicHalf;
  std::string key;
};

/// One whose private half makes what both have in common begin with a zero byte, or not.
Peer peerOf(std::string publicHalf, bool beginsWithZero) {
  const std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> context(BN_CTX_new(), BN_CTX_free);
  const Number prime(BN_get_rfc2409_prime_1024(nullptr), BN_free);
  const Number theirs(BN_bin2bn(raw(publicHalf), 128, nullptr), BN_free);
  const Number privateHalf(BN_new(), BN_free);
  const Number common(BN_new(), BN_free);
  BN_set_word(privateHalf.get(), 1000);
  do {
    BN_add_word(privateHalf.get(), 1);
    BN_mod_exp(common.get(), theirs.get(), privateHalf.get(), prime.get(), context.get());
  } while ((bytesOf(common).front() == '\0') != beginsWithZero);
  const Number ours(BN_new(), BN_free);
  BN_set_word(ours.get(), 2);
  BN_mod_exp(ours.get(), ours.get(), privateHalf.get(), prime.get(), context.get());
  // RFC 5869, for one block of output.
  return {bytesOf(ours), hmac(hmac(std::string(32, '\0'), bytesOf(common)), "\x01").substr(0, 16)};
}

std::string opened(SessionCipher::Sealed sealed, std::string key) {
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                EVP_CIPHER_CTX_free);
  std::string text(sealed.text.size(), '\0');
  int size = 0;
  int rest = 0;
  EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, raw(key), raw(sealed.initialVector));
  EVP_DecryptUpdate(context.get(), raw(text), &size, raw(sealed.text), static_cast<int>(sealed.text.size()));
  EVP_DecryptFinal_ex(context.get(), raw(text) + size, &rest);
  return text.substr(0, static_cast<std::size_t>(size + rest));
}

TEST(SessionCipher, AgreesWithItsPeer) {
  for (const bool beginsWithZero : {false, true}) {
    const auto cipher = SessionCipher::make();
    ASSERT_NE(cipher, nullptr);
    const Peer peer = peerOf(cipher->publicHalf(), beginsWithZero);
    ASSERT_TRUE(cipher->agree(peer.publicHalf));
    EXPECT_EQ(opened(cipher->seal("secret").value(), peer.key), "secret") << beginsWithZero;
  }
}

TEST(SessionCipher, RefusesWhatIsNoPublicHalfAndNoSecret) {
  const Number prime(BN_get_rfc2409_prime_1024(nullptr), BN_free);
  BN_sub_word(prime.get(), 1);
  for (const std::string& half :
       {std::string(), std::string(1, '\0'), std::string(1, '\1'), std::string(129, '\1'), bytesOf(prime)})
    EXPECT_FALSE(SessionCipher::make()->agree(half)) << testing::PrintToString(half);
  const auto cipher = SessionCipher::make();
  ASSERT_TRUE(cipher->agree(SessionCipher::make()->publicHalf()));
  const auto sealed = cipher->seal("secret");
  ASSERT_TRUE(sealed);
  for (const SessionCipher::Sealed& damaged :
       {SessionCipher::Sealed{"", sealed->text}, SessionCipher::Sealed{sealed->initialVector, ""},
        SessionCipher::Sealed{sealed->initialVector, sealed->text.substr(1)}})
    EXPECT_FALSE(cipher->open(damaged));
}

}  // namespace
}  // namespace quelto::keychain
