#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "keychain/embedded/database.h"
#include "keychain/embedded/embedded_keychain.h"
#include "keychain/embedded/schema.h"
#include "tests/keychain/item_store_contract.h"
#include "tests/support/temporary_folder.h"

/// What the tests of the embedded keychain have in common.
namespace quelto::test {

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

  /// As another process opens it.
  [[nodiscard]] std::unique_ptr<keychain::EmbeddedKeychain> opened() const {
    return std::make_unique<keychain::EmbeddedKeychain>(path());
  }

  /// Past the keychain, as somebody who can write the file.
  void runSql(const std::string& statements) const {
    keychain::embedded::Database(std::move(*platform::PrivateFolder::open(path())),
                                 keychain::embedded::databaseName,
                                 platform::Deadline(std::chrono::seconds(1)))
        .runScript(statements.c_str());
  }

 private:
  TemporaryFolder folder_{fastFolder()};
};

}  // namespace quelto::test
