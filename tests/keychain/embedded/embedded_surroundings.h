#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>
#include <utility>

#include "keychain/embedded/database.h"
#include "keychain/embedded/embedded_keychain.h"
#include "keychain/embedded/schema.h"
#include "tests/support/temporary_folder.h"

/// What the tests of the embedded keychain have in common.
namespace quelto::test {

inline keychain::ItemMatch matchOf(const std::string& account) {
  return {keychain::ItemClass::genericPassword, {{"account", account}, {"service", "svn"}}};
}

/// An item whose secret tells whose it is.
inline keychain::OSStatus addItem(keychain::ItemStore& store, const std::string& account) {
  const keychain::Item item{
      .itemClass = keychain::ItemClass::genericPassword,
      .attributes = {{"account", account}, {"service", "svn"}, {"label", "svn: " + account}},
      .secret = platform::Secret("secret of " + account)};
  return store.add({&item, 1});
}

/// Never success for an item that is not exactly as it was added.
inline keychain::OSStatus findItem(keychain::ItemStore& store, const std::string& account,
                                   const keychain::ItemMatch& match) {
  keychain::Item found;
  const auto status = store.find(match, keychain::ItemStore::Want::attributesAndSecret, found);
  if (status != keychain::errSecSuccess) return status;
  const bool isWhole =
      found.secret.view() == "secret of " + account &&
      found.attributes ==
          keychain::Attributes{{"account", account}, {"service", "svn"}, {"label", "svn: " + account}};
  return isWhole ? keychain::errSecSuccess : keychain::errSecParam;
}
inline keychain::OSStatus findItem(keychain::ItemStore& store, const std::string& account) {
  return findItem(store, account, matchOf(account));
}

inline keychain::ItemMatch halfOf(const std::string& identity, const char* half) {
  return {keychain::ItemClass::key, {{"tag", identity + "." + half}, {"keyclass", half}}};
}

/// Both halves of a key pair, whose secrets tell who made them.
inline std::array<keychain::Item, 2> pairOf(const std::string& identity, const std::string& maker) {
  const auto half = [&](const char* name) {
    keychain::ItemMatch match = halfOf(identity, name);
    return keychain::Item{.itemClass = match.itemClass,
                          .attributes = std::move(match.attributes),
                          .secret = platform::Secret(maker)};
  };
  return {half("private"), half("public")};
}

inline keychain::OSStatus addPair(keychain::ItemStore& store, const std::string& identity,
                                  const std::string& maker) {
  return store.add(pairOf(identity, maker));
}

/// Who made the pair: "nobody" when there is neither half, and "torn" when there are not both, or of two
/// makers.
inline std::string makerOf(keychain::ItemStore& store, const std::string& identity) {
  keychain::Item halves[2];
  const auto find = [&](const char* name, keychain::Item& half) {
    return store.find(halfOf(identity, name), keychain::ItemStore::Want::attributesAndSecret, half);
  };
  const std::pair statuses(find("private", halves[0]), find("public", halves[1]));
  if (statuses == std::pair(keychain::errSecItemNotFound, keychain::errSecItemNotFound)) return "nobody";
  const bool isWhole = statuses == std::pair(keychain::errSecSuccess, keychain::errSecSuccess) &&
                       halves[0].secret.view() == halves[1].secret.view();
  return isWhole ? std::string(halves[0].secret.view()) : "torn";
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
    auto folder = platform::PrivateFolder::open(path());
    keychain::embedded::Database(std::move(*folder), keychain::embedded::databaseName,
                                 platform::Deadline(std::chrono::seconds(1)))
        .runScript(statements.c_str());
  }

 private:
  TemporaryFolder folder_{fastFolder()};
};

}  // namespace quelto::test
