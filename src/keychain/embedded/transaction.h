#pragma once

#include "keychain/embedded/database.h"

namespace quelto::keychain::embedded {

/// A transaction on a whole database; without a commit everything in it is undone when it is destroyed. All
/// calls throw Failure as Database and requireWholeDatabase do.
class Transaction {
 public:
  enum class Kind {
    /// Sees one state of the database from beginning to end.
    reading,
    /// The only writer from beginning to end, in turn (see `WriterLock`).
    writing,
  };
  Transaction(Kind kind, Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /// What was written survives a loss of power when this returns; when it throws, nothing was written.
  void commit();

 private:
  explicit Transaction(Database& database) noexcept : database_(database) {}

  Database& database_;
};

}  // namespace quelto::keychain::embedded
