#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/secrets/secret.h"

struct evp_cipher_ctx_st;

namespace quelto::keychain::embedded {

/// A key of AES-256-GCM (NIST SP 800-38D). A sealed text is its 96-bit nonce, the ciphertext and the 128-bit
/// tag. One thread at a time; overwritten when destroyed.
///
/// Nonces are random. SP 800-38D allows 2^32 of them under one key, which keeps the chance that two are equal
/// below 2^-32: a keychain that seals one secret each second reaches that after 136 years. A counter would be
/// surer, but repeat itself when the folder is restored from a backup.
class SealingKey {
 public:
  /// In bytes.
  static constexpr std::size_t size = 32;

  /// Throws Failure: errSecAuthFailed for another size, errSecIO when there is no cipher.
  explicit SealingKey(const platform::Secret& bytes);

  /// Throws Failure: errSecIO when there is no randomness, errSecParam for more than 1 GiB.
  [[nodiscard]] std::string seal(std::string_view plain, std::string_view boundTo);

  /// Absent unless it was sealed by this key for the same `boundTo` and is unaltered. An older sealed text
  /// for the same `boundTo` is not told from a newer one. Throws Failure, errSecIO.
  [[nodiscard]] std::optional<platform::Secret> unseal(std::string_view sealed, std::string_view boundTo);

 private:
  enum class Direction : int { unseal = 0, seal = 1 };
  struct ContextDeleter {
    void operator()(evp_cipher_ctx_st* context) const;
  };

  void begin(Direction direction, std::string_view nonce, std::string_view boundTo);
  [[nodiscard]] bool pass(std::string_view text, char* output);

  std::unique_ptr<evp_cipher_ctx_st, ContextDeleter> context_;
};

}  // namespace quelto::keychain::embedded
