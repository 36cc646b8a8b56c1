#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "keychain/embedded/database.h"
#include "keychain/embedded/embedded_keychain.h"
#include "keychain/embedded/schema.h"
#include "tests/support/temporary_folder.h"

/// What the tests of the embedded keychain have in common.
namespace quelto::test {

using keychain::Item;
using keychain::ItemClass;
using keychain::ItemMatch;
using keychain::ItemStore;
using keychain::OSStatus;

inline ItemMatch matchOf(const std::string& account) {
  return {ItemClass::genericPassword, {{"account", account}, {"service", "svn"}}};
}

/// An item whose secret tells whose it is.
inline Item itemOf(const std::string& account) {
  return {.itemClass = ItemClass::genericPassword,
          .attributes = {{"account", account}, {"service", "svn"}, {"label", "svn: " + account}},
          .secret = platform::Secret("secret of " + account)};
}

inline OSStatus addItem(ItemStore& store, const std::string& account) {
  const Item item = itemOf(account);
  return store.add({&item, 1});
}

/// Never success for an item that is not exactly as it was added.
inline OSStatus findItem(ItemStore& store, const std::string& account,
                         const std::optional<ItemMatch>& match = std::nullopt) {
  const Item expected = itemOf(account);
  Item found;
  const OSStatus status =
      store.find(match.value_or(matchOf(account)), ItemStore::Want::attributesAndSecret, found);
  const bool isWhole =
      found.secret.view() == expected.secret.view() && found.attributes == expected.attributes;
  return status != keychain::errSecSuccess || isWhole ? status : keychain::errSecParam;
}

inline ItemMatch halfOf(const std::string& identity, const std::string& half) {
  return {ItemClass::key, {{"tag", identity + "." + half}, {"keyclass", half}}};
}

/// Both halves of a key pair, whose secrets tell who made them.
inline std::array<Item, 2> pairOf(const std::string& identity, const std::string& maker) {
  const auto half = [&](const char* name) {
    return Item{.itemClass = ItemClass::key,
                .attributes = halfOf(identity, name).attributes,
                .secret = platform::Secret(maker)};
  };
  return {half("private"), half("public")};
}

inline OSStatus addPair(ItemStore& store, const std::string& identity, const std::string& maker) {
  return store.add(pairOf(identity, maker));
}

/// Who made the pair; "nobody" when there is neither half, "torn" when they do not belong together.
inline std::string makerOf(ItemStore& store, const std::string& identity) {
  const auto makerOfHalf = [&](const char* half) {
    Item found;
    const OSStatus status = store.find(halfOf(identity, half), ItemStore::Want::attributesAndSecret, found);
    if (status == keychain::errSecItemNotFound) return std::string("nobody");
    return status == keychain::errSecSuccess ? std::string(found.secret.view()) : std::to_string(status);
  };
  const std::string maker = makerOfHalf("private");
  return makerOfHalf("public") == maker ? maker : "torn";
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
