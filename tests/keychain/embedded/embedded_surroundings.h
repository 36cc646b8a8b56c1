#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "keychain/embedded/database.h"
#include "keychain/embedded/embedded_keychain.h"
#include "keychain/embedded/schema.h"
#include "tests/support/temporary_folder.h"

/// What the tests of the embedded keychain have in common.
namespace quelto::test {

inline keychain::ItemMatch matchOf(const std::string& account) {
  return {keychain::ItemClass::genericPassword, {{"account", account}}};
}

/// An item whose secret tells whose it is.
inline keychain::OSStatus addItem(keychain::ItemStore& store, const std::string& account) {
  return store.add({.itemClass = keychain::ItemClass::genericPassword,
                    .attributes = {{"account", account}, {"service", "svn"}, {"label", "svn: " + account}},
                    .secret = platform::Secret("secret of " + account)},
                   {"account", "service", "generic", "type"});
}

/// Never success for an item that is not exactly as it was added.
inline keychain::OSStatus findItem(keychain::ItemStore& store, const std::string& account) {
  keychain::Item found;
  const auto status =
      store.find(matchOf(account), keychain::ItemStore::Want::attributesAndSecret, found);
  if (status != keychain::errSecSuccess) return status;
  const bool isWhole =
      found.secret.view() == "secret of " + account &&
      found.attributes == keychain::Attributes{
                              {"account", account}, {"service", "svn"}, {"label", "svn: " + account}};
  return isWhole ? keychain::errSecSuccess : keychain::errSecParam;
}

/// Where writing does not wait for a disk, which may be slower than a call's limit: in memory.
inline std::filesystem::path fastFolder() {
  const std::filesystem::path memory = "/dev/shm";
  return ::access(memory.c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
}

/// A folder for a keychain below a folder that is removed at the end.
class KeychainFolder {
 public:
  KeychainFolder() = default;
  ~KeychainFolder() { ::chmod(path().c_str(), 0700); }  // or it could not be removed
  KeychainFolder(const KeychainFolder&) = delete;
  KeychainFolder& operator=(const KeychainFolder&) = delete;

  [[nodiscard]] std::string above() const { return folder_.path(); }
  [[nodiscard]] std::string path() const { return folder_.path("keychain"); }
  [[nodiscard]] std::string database() const { return path() + "/keychain.sqlite"; }
  [[nodiscard]] std::string key() const { return path() + "/master.key"; }

  /// Past the keychain, as somebody who can write the file.
  void runSql(const std::string& statements) const {
    keychain::embedded::Database(database(),
                                           keychain::embedded::Deadline(std::chrono::seconds(1)))
        .runScript(statements.c_str());
  }

 private:
  TemporaryFolder folder_{fastFolder()};
};

}  // namespace quelto::test
