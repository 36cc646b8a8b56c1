#pragma once

#include "platform/files/private_folder.h"
#include "platform/secrets/secret.h"

namespace quelto::keychain::embedded {

class Database;

inline constexpr const char* masterKeyName = "master.key";

/// Gives a keychain that has never had one its key: 256 random bits in a file of their own. Of many processes
/// that do so at once all get the same. Not to be called in a transaction. Throws Failure: errSecAuthFailed
/// when there are items already.
void ensureMasterKey(Database& database, const platform::PrivateFolder& folder);

/// The key that this keychain's secrets are sealed under. To be called in a transaction. Throws Failure:
/// errSecAuthFailed when the key is missing, or is not the one that the keychain was begun with.
[[nodiscard]] platform::Secret masterKey(Database& database, const platform::PrivateFolder& folder);

}  // namespace quelto::keychain::embedded
