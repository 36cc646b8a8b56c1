#pragma once

#include <string>
#include <string_view>

#include "platform/secrets/secret.h"

/// AES-256-GCM (NIST SP 800-38D). A sealed text is its 96-bit nonce, the ciphertext and the 128-bit tag.
///
/// Nonces are random. SP 800-38D allows 2^32 of them under one key, which keeps the chance that two are equal
/// below 2^-32: a keychain that seals one secret each second reaches that after 136 years. A counter would
/// need less luck, but a folder that is restored from a backup would count the same numbers again.
namespace quelto::keychain::embedded {

/// In bytes.
inline constexpr std::size_t sealingKeySize = 32;

/// Throws Failure: errSecIO when there is no randomness or no cipher, errSecParam for more than 1 GiB.
[[nodiscard]] std::string seal(const platform::Secret& key, std::string_view plain, std::string_view boundTo);

/// Throws Failure: errSecAuthFailed unless it was sealed by this key for the same `boundTo` and is unaltered.
/// An older sealed text for the same `boundTo` is not told from a newer one.
[[nodiscard]] platform::Secret unseal(const platform::Secret& key, std::string_view sealed,
                                      std::string_view boundTo);

}  // namespace quelto::keychain::embedded
