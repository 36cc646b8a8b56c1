#include "keychain/embedded/embedded_keychain.h"

#include <algorithm>
#include <array>
#include <utility>

#include "keychain/embedded/database.h"
#include "keychain/embedded/failure.h"
#include "keychain/embedded/item_table.h"
#include "keychain/embedded/master_key.h"
#include "keychain/embedded/schema.h"
#include "keychain/embedded/transaction.h"
#include "keychain/embedded/writer_lock.h"

namespace quelto::keychain {

using embedded::Database;
using embedded::Failure;
using embedded::ItemTable;
using embedded::Transaction;
using embedded::valueOrThrow;
using platform::Deadline;
using platform::PrivateFolder;

EmbeddedKeychain::EmbeddedKeychain(std::string folder) : path_(std::move(folder)) {}
EmbeddedKeychain::~EmbeddedKeychain() = default;

/// The folder with a database in it; absent when there has never been a keychain here. The database is the
/// first file of a new keychain, so one of the others without it means that the database is gone.
std::optional<PrivateFolder> EmbeddedKeychain::openFolder(WhenAbsent whenAbsent,
                                                          const Deadline& deadline) const {
  const bool mustExist = openedFile_.has_value();
  const bool mayMake = whenAbsent == WhenAbsent::make && !mustExist;
  auto found = mayMake ? PrivateFolder::openOrMake(path_) : PrivateFolder::open(path_);
  if (!found.isAbsent()) {
    auto folder = valueOrThrow(std::move(found));
    const auto isThere = [&](const char* name) { return !folder.file(name).isAbsent(); };
    if (isThere(embedded::databaseName)) return folder;
    constexpr std::array others{embedded::masterKeyName, embedded::writerLockName, embedded::journalName};
    const bool wasHere = std::ranges::any_of(others, isThere);
    // Looked at again, since another process may have made all of them meanwhile.
    if (isThere(embedded::databaseName)) return folder;
    // SQLite would also roll back a new database by an old journal.
    if (wasHere) throw Failure(errSecNotAvailable);
    if (mayMake) {
      if (!folder.publish(embedded::databaseName, embedded::emptyDatabase(deadline))) throw Failure(errSecIO);
      return folder;
    }
  }
  if (mustExist) throw Failure(errSecNotAvailable);
  return std::nullopt;
}

/// Opens the database, unless it is open already.
void EmbeddedKeychain::openDatabase(PrivateFolder folder, const Deadline& deadline) {
  const auto file = valueOrThrow(folder.file(embedded::databaseName));
  if (database_ && openedFile_ == file) {
    database_->setDeadline(deadline);
    return;
  }
  database_.reset();
  database_ = std::make_unique<Database>(std::move(folder), embedded::databaseName, deadline);
  embedded::ensureMasterKey(*database_);
  openedFile_ = file;
}

/// Runs `work` on the open database and answers with its status, or with that of the failure on the way.
template <typename Work>
OSStatus EmbeddedKeychain::withDatabase(WhenAbsent whenAbsent, const Work& work) noexcept try {
  const Deadline deadline(callLimit);
  if (!free_.waitFor(callLimit)) return errSecNotAvailable;
  const struct Leaver {
    platform::Semaphore& free;
    ~Leaver() { free.signal(); }
  } leaver{free_};
  try {
    auto folder = openFolder(whenAbsent, deadline);
    if (!folder) return errSecItemNotFound;
    openDatabase(std::move(*folder), deadline);
    return work(*database_);
  } catch (...) {
    // Whatever state the connection is in, the next call begins with a new one.
    database_.reset();
    throw;
  }
} catch (const Failure& failure) {
  return failure.status();
} catch (...) {  // no memory
  return errSecIO;
}

OSStatus EmbeddedKeychain::find(const ItemMatch& match, Want want, Item& found) {
  return withDatabase(WhenAbsent::answerNotFound, [&](Database& database) {
    const Transaction reading(Transaction::Kind::reading, database);
    auto opened = ItemTable(database, embedded::masterKey(database)).find(match);
    if (!opened) return errSecItemNotFound;
    found = std::move(opened->item);
    if (want == Want::attributes) found.secret = {};
    return errSecSuccess;
  });
}

OSStatus EmbeddedKeychain::add(std::span<const Item> items) {
  return withDatabase(WhenAbsent::make, [&](Database& database) {
    Transaction writing(Transaction::Kind::writing, database);
    ItemTable table(database, embedded::masterKey(database));
    for (const Item& item : items) {
      // Without a commit, those before it are undone.
      if (table.hasIdentityOf(item)) return errSecDuplicateItem;
      table.insert(item);
    }
    writing.commit();
    return errSecSuccess;
  });
}

OSStatus EmbeddedKeychain::updateSecret(const ItemMatch& match, const platform::Secret& secret) {
  return withDatabase(WhenAbsent::answerNotFound, [&](Database& database) {
    Transaction writing(Transaction::Kind::writing, database);
    ItemTable table(database, embedded::masterKey(database));
    const auto opened = table.find(match);
    if (!opened) return errSecItemNotFound;
    table.replaceSecret(*opened, secret);
    writing.commit();
    return errSecSuccess;
  });
}

OSStatus EmbeddedKeychain::remove(const ItemMatch& match) {
  return withDatabase(WhenAbsent::answerNotFound, [&](Database& database) {
    Transaction writing(Transaction::Kind::writing, database);
    const bool isRemoved = ItemTable(database, embedded::masterKey(database)).remove(match);
    writing.commit();
    return isRemoved ? errSecSuccess : errSecItemNotFound;
  });
}

}  // namespace quelto::keychain
