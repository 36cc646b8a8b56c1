#include "keychain/embedded/embedded_keychain.h"

#include <algorithm>
#include <array>
#include <utility>

#include "keychain/embedded/database.h"
#include "keychain/embedded/failure.h"
#include "keychain/embedded/item_index.h"
#include "keychain/embedded/item_search.h"
#include "keychain/embedded/master_key.h"
#include "keychain/embedded/schema.h"
#include "keychain/embedded/stored_item.h"
#include "keychain/embedded/transaction.h"
#include "keychain/embedded/writers_queue.h"

namespace quelto::keychain {

using embedded::Database;
using embedded::Deadline;
using embedded::ItemSearch;
using embedded::Transaction;

namespace {

/// For an item that was listed under values that are not its own. When it is as it was sealed, the list was
/// damaged and not the item, which somebody else may be looking for.
bool listAgainWhenIntact(Database& database, const platform::Secret& key, std::int64_t id) {
  const auto item = loadItem(database, id);
  const bool isWhole = item && isIntact(database, key, *item);
  if (isWhole) listItem(database, *item);
  return isWhole;
}

}  // namespace

EmbeddedKeychain::EmbeddedKeychain(std::string folder) : path_(std::move(folder)) {}
EmbeddedKeychain::~EmbeddedKeychain() = default;

/// The folder with the database in its place; absent when there has never been a keychain here. A new
/// database comes first of all files, so one of the others without it means that the database is gone.
std::optional<platform::PrivateFolder> EmbeddedKeychain::openFolder(WhenAbsent whenAbsent,
                                                                    const Deadline& deadline) const {
  const bool mustExist = openedFile_.has_value();
  const bool mayMake = whenAbsent == WhenAbsent::make && !mustExist;
  auto folder = mayMake ? platform::PrivateFolder::openOrMake(path_) : platform::PrivateFolder::open(path_);
  if (folder) {
    if (folder->file(embedded::databaseName)) return folder;
    constexpr std::array others{embedded::masterKeyName, embedded::queueName, embedded::journalName};
    const bool wasHere =
        std::ranges::any_of(others, [&](const char* name) { return folder->file(name).has_value(); });
    // Looked at again, since another process may have made all of them meanwhile.
    if (folder->file(embedded::databaseName)) return folder;
    // A new database beside an old journal would also be overwritten with what stands in that.
    if (wasHere) throw Failure(errSecNotAvailable);
    if (mayMake) {
      folder->publish(embedded::databaseName, embedded::emptyDatabase(deadline));
      return folder;
    }
  }
  if (mustExist) throw Failure(errSecNotAvailable);
  return std::nullopt;
}

/// Opens the database, unless the one that stands in the folder is open already.
void EmbeddedKeychain::openDatabase(const platform::PrivateFolder& folder, const Deadline& deadline) {
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
    platform::Semaphore& free;
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

OSStatus EmbeddedKeychain::find(const ItemMatch& match, Want want, Item& found) {
  return withSession(WhenAbsent::answerNotFound, [&](const Session& session) {
    const Transaction reading(Transaction::Reading{session.database});
    const platform::Secret key = masterKey(session.database, session.folder);
    auto item = ItemSearch(session.database, match).next();
    if (!item) return errSecItemNotFound;
    // Opened in any case: attributes that were altered are not handed out either.
    platform::Secret secret = openSecret(session.database, key, *item);
    found = Item{.itemClass = item->itemClass, .attributes = std::move(item->attributes), .secret = {}};
    if (want == Want::attributesAndSecret) found.secret = std::move(secret);
    return errSecSuccess;
  });
}

OSStatus EmbeddedKeychain::add(const Item& item, const std::vector<std::string>& identity) {
  return withSession(WhenAbsent::make, [&](const Session& session) {
    Transaction writing(Transaction::Writing{session.database, session.folder});
    const platform::Secret key = masterKey(session.database, session.folder);
    ItemSearch equal(session.database, {.itemClass = item.itemClass, .attributes = item.attributes},
                     identity);
    if (equal.next()) return errSecDuplicateItem;
    listItem(session.database, insertItem(session.database, key, item));
    writing.commit();
    return errSecSuccess;
  });
}

OSStatus EmbeddedKeychain::updateSecret(const ItemMatch& match, HowMany howMany,
                                        const platform::Secret& secret) {
  return withSession(WhenAbsent::answerNotFound, [&](const Session& session) {
    Transaction writing(Transaction::Writing{session.database, session.folder});
    const platform::Secret key = masterKey(session.database, session.folder);
    ItemSearch search(session.database, match);
    bool hasChanged = false;
    while (!hasChanged || howMany == HowMany::all) {
      const auto item = search.next();
      if (!item) break;
      replaceSecret(session.database, key, *item, secret);
      hasChanged = true;
    }
    writing.commit();
    return hasChanged ? errSecSuccess : errSecItemNotFound;
  });
}

OSStatus EmbeddedKeychain::remove(const ItemMatch& match, HowMany howMany) {
  return withSession(WhenAbsent::answerNotFound, [&](const Session& session) {
    Transaction writing(Transaction::Writing{session.database, session.folder});
    const platform::Secret key = masterKey(session.database, session.folder);
    ItemSearch search(session.database, match);
    bool hasGone = false;
    while (!hasGone || howMany == HowMany::all) {
      const auto row = search.nextRow();
      if (!row) break;
      unlistItem(session.database, row->id);
      if (!row->item && listAgainWhenIntact(session.database, key, row->id)) continue;
      deleteItem(session.database, row->id);
      hasGone = true;
    }
    writing.commit();
    return hasGone ? errSecSuccess : errSecItemNotFound;
  });
}

}  // namespace quelto::keychain
