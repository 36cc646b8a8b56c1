#include "keychain/embedded/schema.h"

#include "keychain/embedded/database.h"
#include "keychain/embedded/failure.h"

namespace quelto::keychain::embedded {
namespace {

constexpr int schemaVersion = 1;

constexpr const char* schema =
    "PRAGMA user_version = 1;"
    // One row once there is a master key: a known text sealed under it.
    "CREATE TABLE key_check(sealed BLOB NOT NULL) STRICT;"
    // AUTOINCREMENT, since a secret is bound to its row's number and no later item may get that again.
    // "main" is derived from the attributes (item_table.h).
    "CREATE TABLE item(id INTEGER PRIMARY KEY AUTOINCREMENT, class INTEGER NOT NULL, main BLOB NOT NULL,"
    " attributes BLOB NOT NULL, sealed BLOB NOT NULL) STRICT;"
    "CREATE INDEX item_by_main ON item(class, main);";

}  // namespace

std::string emptyDatabase(const platform::Deadline& deadline) {
  Database database(deadline);
  database.runScript(schema);
  return database.image();
}

void requireWholeDatabase(Database& database) {
  const std::int64_t version = database.number("PRAGMA user_version");
  // A database is published whole, so one without a version was emptied later.
  if (version != schemaVersion) throw Failure(version > schemaVersion ? errSecNotAvailable : errSecIO);
  // SQLite notices missing pages, but reads the missing part of a page as zeros.
  if (database.fileSize() < database.number("PRAGMA page_count") * database.number("PRAGMA page_size")) {
    throw Failure(errSecIO);
  }
}

}  // namespace quelto::keychain::embedded
