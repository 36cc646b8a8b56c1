#include "platform/keychain/embedded/embedded_keychain.h"

#include <utility>

#include "platform/keychain/embedded/database.h"
#include "platform/keychain/embedded/item_index.h"
#include "platform/keychain/embedded/item_search.h"
#include "platform/keychain/embedded/master_key.h"
#include "platform/keychain/embedded/schema.h"
#include "platform/keychain/embedded/stored_item.h"
#include "platform/keychain/embedded/transaction.h"
#include "platform/keychain/failure.h"

namespace quelto::platform::keychain {

using embedded::Database;
using embedded::Deadline;
using embedded::ItemSearch;
using embedded::StoredItem;
using embedded::Transaction;

EmbeddedKeychain::EmbeddedKeychain(std::string folder) : path_(std::move(folder)) {}
EmbeddedKeychain::~EmbeddedKeychain() = default;

/// The folder with the database in its place; absent when there has never been a keychain here. A new
/// database comes before its key, so a key without a database means that the database is gone.
std::optional<PrivateFolder> EmbeddedKeychain::openFolder(WhenAbsent whenAbsent,
                                                          const Deadline& deadline) const {
  const bool mustExist = openedFile_.has_value();
  const bool mayMake = whenAbsent == WhenAbsent::make && !mustExist;
  auto folder = mayMake ? PrivateFolder::openOrMake(path_) : PrivateFolder::open(path_);
  if (folder) {
    // The key first: another process may be making both.
    const bool hasKey = folder->file(embedded::masterKeyName).has_value();
    if (folder->file(embedded::databaseName)) return folder;
    if (hasKey) throw Failure(errSecNotAvailable);
    if (mayMake) {
      folder->publish(embedded::databaseName, embedded::emptyDatabase(deadline));
      return folder;
    }
  }
  if (mustExist) throw Failure(errSecNotAvailable);
  return std::nullopt;
}

/// Opens the database, unless the one that stands in the folder is open already.
void EmbeddedKeychain::openDatabase(const PrivateFolder& folder, const Deadline& deadline) {
  const auto file = folder.file(embedded::databaseName);
  if (!file) throw Failure(errSecNotAvailable);
  if (database_ && openedFile_ == file) {
    database_->setDeadline(deadline);
    return;
  }
  database_.reset();
  database_ = std::make_unique<Database>(folder.pathOf(embedded::databaseName), deadline);
  ensureMasterKey(*database_, folder);
  openedFile_ = file;
}

/// Runs `work` on the open keychain and answers with its status, or with that of the failure on the way.
template <typename Work>
OSStatus EmbeddedKeychain::withSession(WhenAbsent whenAbsent, const Work& work) noexcept try {
  const Deadline deadline(callLimit);
  if (!free_.waitFor(callLimit)) return errSecNotAvailable;
  const struct Leaver {
    Semaphore& free;
    ~Leaver() { free.signal(); }
  } leaver{free_};
  try {
    const auto folder = openFolder(whenAbsent, deadline);
    if (!folder) return errSecItemNotFound;
    openDatabase(*folder, deadline);
    return work(Session{.folder = *folder, .database = *database_});
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

/// Changes the first match or all in one transaction.
template <typename Change>
OSStatus EmbeddedKeychain::changeMatches(const Session& session, const ItemMatch& match, HowMany howMany,
                                         const Change& change) {
  Transaction writing(Transaction::Writing{session.database, session.folder});
  const Secret key = masterKey(session.database, session.folder);
  ItemSearch search(session.database, match);
  bool hasChanged = false;
  while (!hasChanged || howMany == HowMany::all) {
    const auto item = search.next();
    if (!item) break;
    change(*item, key);
    hasChanged = true;
  }
  if (!hasChanged) return errSecItemNotFound;
  writing.commit();
  return errSecSuccess;
}

void EmbeddedKeychain::learn(const Session& session, const ItemMatch& match) {
  try {
    Transaction writing(Transaction::Writing{session.database, session.folder});
    learnCombination(session.database, match.itemClass, match.attributes);
    writing.commit();
  } catch (const Failure&) {  // NOLINT(bugprone-empty-catch)
    // The answer is right all the same, and the next search of this kind will try again.
  }
}

OSStatus EmbeddedKeychain::find(const ItemMatch& match, Want want, Item& found) {
  return withSession(WhenAbsent::answerNotFound, [&](const Session& session) {
    std::optional<Transaction> reading(std::in_place, Transaction::Reading{session.database});
    const Secret key = masterKey(session.database, session.folder);
    ItemSearch search(session.database, match);
    auto item = search.next();
    if (item) {
      // Opened in any case: attributes that were altered are not handed out either.
      Secret secret = openSecret(session.database, key, *item);
      found = Item{.itemClass = item->itemClass, .attributes = std::move(item->attributes), .secret = {}};
      if (want == Want::attributesAndSecret) found.secret = std::move(secret);
    }
    reading.reset();
    if (search.wasSlow()) learn(session, match);
    return item ? errSecSuccess : errSecItemNotFound;
  });
}

OSStatus EmbeddedKeychain::add(const Item& item, const std::vector<std::string>& identity) {
  return withSession(WhenAbsent::make, [&](const Session& session) {
    Transaction writing(Transaction::Writing{session.database, session.folder});
    const Secret key = masterKey(session.database, session.folder);
    ItemSearch equal(session.database, {.itemClass = item.itemClass, .attributes = item.attributes},
                     identity);
    if (equal.next()) return errSecDuplicateItem;
    listItem(session.database, insertItem(session.database, key, item));
    writing.commit();
    return errSecSuccess;
  });
}

OSStatus EmbeddedKeychain::updateSecret(const ItemMatch& match, HowMany howMany, const Secret& secret) {
  return withSession(WhenAbsent::answerNotFound, [&](const Session& session) {
    return changeMatches(session, match, howMany, [&](const StoredItem& item, const Secret& key) {
      replaceSecret(session.database, key, item, secret);
    });
  });
}

OSStatus EmbeddedKeychain::remove(const ItemMatch& match, HowMany howMany) {
  return withSession(WhenAbsent::answerNotFound, [&](const Session& session) {
    return changeMatches(session, match, howMany, [&](const StoredItem& item, const Secret& /*key*/) {
      unlistItem(session.database, item);
      deleteItem(session.database, item);
    });
  });
}

}  // namespace quelto::platform::keychain
