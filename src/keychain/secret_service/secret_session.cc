#include "keychain/secret_service/secret_session.h"

#include <utility>

namespace quelto::keychain {
namespace {

GVariant* byteArray(std::string_view bytes) {
  return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1);
}

}  // namespace

void SecretSession::prepare() {
  if (daemon_.empty() && !nextCipher_.valid())
    nextCipher_ = std::async(std::launch::async, SessionCipher::make);
}

Outcome SecretSession::open(const platform::Deadline& deadline) {
  if (daemon_ == keyring_.daemon()) return Outcome::done;
  auto cipher = nextCipher_.valid() ? nextCipher_.get() : SessionCipher::make();
  const bool canEncrypt = cipher != nullptr;
  // SECURITY: unencrypted, the secrets would stay in the freed buffers of GLib and of the bus daemon.
  const Outcome outcome = openWith(std::move(cipher), deadline);
  return canEncrypt && outcome == Outcome::notSupported ? openWith(nullptr, deadline) : outcome;
}

Outcome SecretSession::openWith(std::unique_ptr<SessionCipher> cipher, const platform::Deadline& deadline) {
  daemon_.clear();
  const char* const algorithm = cipher != nullptr ? "dh-ietf1024-sha256-aes128-cbc-pkcs7" : "plain";
  GVariant* const ourHalf = cipher != nullptr ? byteArray(cipher->publicHalf()) : g_variant_new_string("");
  const Answer answer = keyring_.ask({.path = servicePath,
                                      .interface = serviceInterface,
                                      .method = "OpenSession",
                                      .arguments = owned(g_variant_new("(sv)", algorithm, ourHalf)),
                                      .answerType = "(vo)"},
                                     deadline);
  if (answer.outcome != Outcome::done) return answer.outcome;
  if (cipher != nullptr) {
    const VariantOwner peersHalf(g_variant_get_variant(childOf(answer.value, 0).get()));
    if (g_variant_is_of_type(peersHalf.get(), G_VARIANT_TYPE_BYTESTRING) == FALSE ||
        !cipher->agree(bytesIn(peersHalf)))
      return Outcome::failed;
  }
  daemon_ = keyring_.daemon();
  path_ = textOf(answer.value, 1);
  cipher_ = std::move(cipher);
  return Outcome::done;
}

VariantOwner SecretSession::sealed(std::string_view secret) const {
  // Some keyrings keep text only under the first of the two.
  const bool isText = secret.empty() || g_utf8_validate_len(secret.data(), secret.size(), nullptr) != FALSE;
  const char* const contentType = isText ? "text/plain" : "application/octet-stream";
  if (cipher_ == nullptr) {
    return owned(g_variant_new("(o@ay@ays)", path_.c_str(), byteArray(""), byteArray(secret), contentType));
  }
  const auto encrypted = cipher_->seal(secret);
  if (!encrypted) return nullptr;
  return owned(g_variant_new("(o@ay@ays)", path_.c_str(), byteArray(encrypted->initialVector),
                             byteArray(encrypted->text), contentType));
}

std::optional<platform::Secret> SecretSession::unsealed(const VariantOwner& sealed) const {
  const VariantOwner parameters = childOf(sealed, 1);
  const VariantOwner text = childOf(sealed, 2);
  if (cipher_ == nullptr) return platform::Secret(bytesIn(text));
  return cipher_->open(
      {.initialVector = std::string(bytesIn(parameters)), .text = std::string(bytesIn(text))});
}

}  // namespace quelto::keychain
