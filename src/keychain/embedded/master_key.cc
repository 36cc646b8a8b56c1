#include "keychain/embedded/master_key.h"

#include <openssl/rand.h>

#include <optional>
#include <string>

#include "keychain/embedded/database.h"
#include "keychain/embedded/failure.h"
#include "keychain/embedded/sealing.h"
#include "keychain/embedded/transaction.h"
#include "platform/files/private_folder.h"

namespace quelto::keychain::embedded {
namespace {

/// What the key check is bound to; no item's text begins like this.
constexpr std::string_view keyCheckContext = "quelto keychain 1 key check";

/// The empty text sealed under the master key, which tells whether a key is that one; absent before there is
/// a key.
std::optional<std::string> keyCheck(Database& database) {
  Statement row = database.query("SELECT sealed FROM key_check");
  if (!row.step()) return std::nullopt;
  return std::string(row.bytes(0));
}

/// Puts a new key's file there, unless there is one already.
void publishNewKey(const platform::PrivateFolder& folder) {
  platform::Secret key = platform::Secret::ofSize(sealingKeySize);
  if (RAND_priv_bytes(reinterpret_cast<unsigned char*>(key.data()), sealingKeySize) != 1) {
    throw Failure(errSecIO);
  }
  folder.publish(masterKeyName, key.view());
}

platform::Secret readKey(const platform::PrivateFolder& folder) {
  auto key = folder.read(masterKeyName, sealingKeySize);
  if (!key || key->size() != sealingKeySize) throw Failure(errSecAuthFailed);
  return std::move(*key);
}

bool hasKeyCheck(Database& database) {
  const Transaction transaction(Transaction::Reading{database});
  return keyCheck(database).has_value();
}

}  // namespace

void ensureMasterKey(Database& database, const platform::PrivateFolder& folder) {
  if (hasKeyCheck(database)) return;
  // The write lock makes this the work of one process. A key is there already when one was killed in here; it
  // is taken over, since nothing has been sealed under it yet.
  Transaction transaction(Transaction::Writing{database, folder});
  if (keyCheck(database)) return;
  // SECURITY: items whose key check is gone were sealed under a key that is lost or has been taken; under a
  // new one the keychain would go on as if nothing had happened.
  if (database.number("SELECT EXISTS(SELECT 1 FROM item)") != 0) throw Failure(errSecAuthFailed);
  if (!folder.file(masterKeyName)) publishNewKey(folder);
  database.run("INSERT INTO key_check(sealed) VALUES(?)", seal(readKey(folder), "", keyCheckContext));
  transaction.commit();
}

platform::Secret masterKey(Database& database, const platform::PrivateFolder& folder) {
  const auto check = keyCheck(database);
  platform::Secret key = readKey(folder);
  // SECURITY: what is added under an exchanged key can be read by whoever exchanged it.
  if (!check || unseal(key, *check, keyCheckContext).size() != 0) throw Failure(errSecAuthFailed);
  return key;
}

}  // namespace quelto::keychain::embedded
