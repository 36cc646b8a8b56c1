#pragma once

namespace quelto::credentials {

/// Where items are kept.
enum class AuthStore {
  keychain = 0,
  /// The encrypted password file.
  secureFile = 1,
};

/// The store that AUTH_STORE names at this moment: the password file when it is a decimal integer of the
/// value 1, else the keychain. To be asked again before every operation. Thread-safe.
[[nodiscard]] AuthStore getStore();

}  // namespace quelto::credentials
