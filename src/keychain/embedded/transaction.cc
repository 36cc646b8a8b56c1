#include "keychain/embedded/transaction.h"

#include "keychain/embedded/failure.h"
#include "keychain/embedded/schema.h"
#include "keychain/embedded/writer_lock.h"

namespace quelto::keychain::embedded {

// It delegates, so the destructor also runs when this body throws.
Transaction::Transaction(Kind kind, Database& database) : Transaction(database) {
  if (kind == Kind::reading) {
    database.run("BEGIN");
  } else {
    const WriterLock inTurn(database.folder(), database.deadline());
    database.run("BEGIN IMMEDIATE");
  }
  requireWholeDatabase(database);
}

Transaction::~Transaction() {
  try {
    // Some failures have undone the transaction already.
    if (database_.isInTransaction()) database_.run("ROLLBACK");
  } catch (const Failure&) {  // NOLINT(bugprone-empty-catch)
    // The journal stays and undoes it when the database is opened next.
  }
}

void Transaction::commit() { database_.run("COMMIT"); }

}  // namespace quelto::keychain::embedded
