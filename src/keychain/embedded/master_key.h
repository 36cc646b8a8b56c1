#pragma once

#include "keychain/embedded/sealing.h"

namespace quelto::keychain::embedded {

class Database;

inline constexpr const char* masterKeyName = "master.key";

/// Gives a keychain that never had one its key: 256 random bits in a file beside the database. Of many
/// processes that do so at once all get the same. Not to be called in a transaction. Throws Failure:
/// errSecAuthFailed when there are items already.
void ensureMasterKey(Database& database);

/// The key that this keychain's secrets are sealed under. To be called in a transaction. Throws Failure:
/// errSecAuthFailed when the key is missing, or is not the one that the keychain was begun with.
[[nodiscard]] SealingKey masterKey(Database& database);

}  // namespace quelto::keychain::embedded
