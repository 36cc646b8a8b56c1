#pragma once

#include "keychain/embedded/database.h"
#include "platform/files/private_folder.h"

namespace quelto::keychain::embedded {

/// A transaction on a database that was found whole; without a commit everything in it is undone when it is
/// destroyed. All calls throw Failure as Database and requireWholeDatabase do.
class Transaction {
 public:
  /// Sees one state of the database from beginning to end.
  struct Reading {
    Database& database;
  };
  /// The only writer from beginning to end, in its turn among those who wait in `folder`.
  struct Writing {
    Database& database;
    const platform::PrivateFolder& folder;
  };
  explicit Transaction(const Reading& reading);
  explicit Transaction(const Writing& writing);
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
