#pragma once

#include <string>

#include "platform/threads/deadline.h"

namespace quelto::keychain::embedded {

class Database;

inline constexpr const char* databaseName = "keychain.sqlite";
/// SQLite's own name for it. It stays after a transaction, empty.
inline constexpr const char* journalName = "keychain.sqlite-journal";

/// A new keychain's database as the bytes of its file: the schema and no item. Throws Failure.
[[nodiscard]] std::string emptyDatabase(const platform::Deadline& deadline);

/// Throws Failure when this is not a whole database of this version: errSecNotAvailable for one of a newer
/// version, errSecIO for anything else. To be called in a transaction, so that nothing changes meanwhile.
void requireWholeDatabase(Database& database);

}  // namespace quelto::keychain::embedded
