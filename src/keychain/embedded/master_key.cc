#include "keychain/embedded/master_key.h"

#include <openssl/rand.h>

#include <optional>
#include <string>
#include <utility>

#include "keychain/embedded/database.h"
#include "keychain/embedded/failure.h"
#include "keychain/embedded/transaction.h"
#include "platform/crypto/openssl_owners.h"
#include "platform/files/private_folder.h"

namespace quelto::keychain::embedded {
namespace {

/// What the key check is bound to; no item's text begins like this.
constexpr std::string_view keyCheckContext = "quelto keychain 1 key check";

/// The empty text sealed under the master key, which tells whether a key is that one; absent before there is
/// one.
std::optional<std::string> keyCheck(Database& database) {
  Statement row = database.query("SELECT sealed FROM key_check");
  if (!row.step()) return std::nullopt;
  return std::string(row.bytes(0));
}

void publishNewKey(const platform::PrivateFolder& folder) {
  platform::Secret key = platform::Secret::ofSize(SealingKey::size);
  if (RAND_priv_bytes(platform::openssl::octets(key.data()), SealingKey::size) != 1 ||
      !folder.publish(masterKeyName, key.view())) {
    throw Failure(errSecIO);
  }
}

SealingKey readKey(const platform::PrivateFolder& folder) {
  auto bytes = folder.read(masterKeyName, SealingKey::size);
  const bool isAnotherOrGone = bytes.isAbsent() || (!bytes && bytes.error() == platform::FileError::tooLarge);
  if (isAnotherOrGone) throw Failure(errSecAuthFailed);
  return SealingKey(valueOrThrow(std::move(bytes)));
}

bool hasKeyCheck(Database& database) {
  const Transaction transaction(Transaction::Kind::reading, database);
  return keyCheck(database).has_value();
}

}  // namespace

void ensureMasterKey(Database& database) {
  if (hasKeyCheck(database)) return;
  // The write lock makes this the work of one process.
  Transaction transaction(Transaction::Kind::writing, database);
  if (keyCheck(database)) return;
  // SECURITY: items whose key check is gone were sealed under a key that is lost or has been taken; under a
  // new one the keychain would go on as if nothing had happened.
  if (database.number("SELECT EXISTS(SELECT 1 FROM item)") != 0) throw Failure(errSecAuthFailed);
  // A process that was killed in here has left a key, which nothing is sealed under: it is taken over.
  if (database.folder().file(masterKeyName).isAbsent()) publishNewKey(database.folder());
  database.run("INSERT INTO key_check(sealed) VALUES(?)",
               readKey(database.folder()).seal("", keyCheckContext));
  transaction.commit();
}

SealingKey masterKey(Database& database) {
  const auto check = keyCheck(database);
  SealingKey key = readKey(database.folder());
  // SECURITY: what is added under an exchanged key can be read by whoever exchanged it.
  if (!check || !key.unseal(*check, keyCheckContext)) throw Failure(errSecAuthFailed);
  return key;
}

}  // namespace quelto::keychain::embedded
