#include "keychain/embedded/transaction.h"

#include "keychain/embedded/failure.h"
#include "keychain/embedded/schema.h"
#include "keychain/embedded/writers_queue.h"

namespace quelto::keychain::embedded {

// The private constructor has made a whole object, so that a failure in these two ends in the destructor.
Transaction::Transaction(const Reading& reading) : Transaction(reading.database) {
  database_.run("BEGIN");
  requireWholeDatabase(database_);
}

Transaction::Transaction(const Writing& writing) : Transaction(writing.database) {
  const PlaceInQueue place(writing.folder, database_.deadline());
  database_.run("BEGIN IMMEDIATE");
  requireWholeDatabase(database_);
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
