#pragma once

#include <future>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "keychain/secret_service/keyring_service.h"
#include "keychain/secret_service/session_cipher.h"

namespace quelto::keychain {

/// The session in which secrets travel to and from the keyring daemon. It is opened at the first need, and
/// again with each new daemon. Secrets are encrypted in it, unless the daemon does not know how: then GLib's
/// message buffers, which nobody can overwrite, hold them as they are. One thread at a time.
class SecretSession {
 public:
  explicit SecretSession(KeyringService& keyring) : keyring_(keyring) {}

  /// Begins to make the key for a session, on a thread of its own, unless there is one. To be called as soon
  /// as a session will be needed: OpenSSL takes longer to start than a keyring to answer.
  void prepare();

  /// Done at once when it is open with the daemon that was found last. `failed` when the daemon's half of the
  /// key is none; otherwise the outcome of the request. Unless done, none is open.
  [[nodiscard]] Outcome open(const platform::Deadline& deadline);

  /// The object path. This and the following are for an open session.
  [[nodiscard]] const std::string& path() const { return path_; }

  /// A secret as the keyring takes it, type "(oayays)"; null when OpenSSL fails.
  [[nodiscard]] VariantOwner sealed(std::string_view secret) const;
  /// The reverse; absent when it is damaged.
  [[nodiscard]] std::optional<platform::Secret> unsealed(const VariantOwner& sealed) const;

 private:
  /// Without a cipher, a session in which nothing is encrypted.
  [[nodiscard]] Outcome openWith(std::unique_ptr<SessionCipher> cipher, const platform::Deadline& deadline);

  KeyringService& keyring_;
  /// With whom it is; empty while there is none.
  std::string daemon_;
  std::string path_;
  std::unique_ptr<SessionCipher> cipher_;
  std::future<std::unique_ptr<SessionCipher>> nextCipher_;
};

}  // namespace quelto::keychain
