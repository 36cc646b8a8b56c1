#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "keychain/item_store.h"
#include "platform/files/private_folder.h"
#include "platform/threads/semaphore.h"

namespace quelto::keychain {

namespace embedded {
class Database;
class Deadline;
}  // namespace embedded

/// Items in a folder of the user's own: keychain.sqlite with the attributes in clear and the secrets sealed
/// (AES-256-GCM), master.key with the key, keychain.queue for writers to queue up. It protects a copy of the
/// database alone, and against secrets that are altered or moved to another item; not against who can read
/// both database and key, nor against an older state that is put back or an item that is hidden.
///
/// The folder and the files are made by the first `add`, with modes 0700 and 0600. Each call looks at them
/// first; in a place that is not as we left it nothing is changed:
/// - errSecNotAvailable: another owner or mode, a symbolic link, a file system that cannot be written, a
///   database of a newer version or with a write-ahead log, any of the other files without the database,
///   another process that keeps it locked.
/// - errSecAuthFailed: the master key is missing or another one; an item that is altered, or stands where
///   another one was. Such an item can be removed by the values that it was added with, and is in nobody
///   else's way.
/// - errSecIO: a damaged or emptied database, a full or failing disk.
/// - errSecItemNotFound, when there has never been a keychain here.
/// SQLite has no checksums: bits that turn in the index alone can hide an item, but give out no wrong one.
///
/// A success survives a loss of power. A look-up costs a few searches of a B-tree for each item that shares
/// its rarest value: as many as one host has items, whatever the number of the others.
class EmbeddedKeychain final : public ItemStore {
 public:
  /// How long a call waits for others and works, in all; what the disk then still takes comes on top.
  static constexpr std::chrono::milliseconds callLimit{3500};

  /// Opens nothing: that is the first call's part.
  explicit EmbeddedKeychain(std::string folder);
  ~EmbeddedKeychain() override;

  [[nodiscard]] OSStatus find(const ItemMatch& match, Want want, Item& found) override;
  [[nodiscard]] OSStatus add(const Item& item, const std::vector<std::string>& identity) override;
  [[nodiscard]] OSStatus updateSecret(const ItemMatch& match, HowMany howMany,
                                      const platform::Secret& secret) override;
  [[nodiscard]] OSStatus remove(const ItemMatch& match, HowMany howMany) override;

 private:
  /// What a call works with.
  struct Session {
    const platform::PrivateFolder& folder;
    embedded::Database& database;
  };
  enum class WhenAbsent { answerNotFound, make };

  template <typename Work>
  OSStatus withSession(WhenAbsent whenAbsent, const Work& work) noexcept;
  [[nodiscard]] std::optional<platform::PrivateFolder> openFolder(WhenAbsent whenAbsent,
                                                                  const embedded::Deadline& deadline) const;
  void openDatabase(const platform::PrivateFolder& folder, const embedded::Deadline& deadline);

  const std::string path_;
  /// One call at a time; the others wait within their limit.
  platform::Semaphore free_{1};
  std::unique_ptr<embedded::Database> database_;
  /// The file that was opened last; a keychain that was here once is not made anew.
  std::optional<platform::PrivateFolder::FileIdentity> openedFile_;
};

}  // namespace quelto::keychain

/// The module's one entry: the keychain in this folder (an absolute path), the same for each call with the
/// same text. It lives as long as the process. Null when there is no memory. Thread-safe.
extern "C" [[gnu::visibility("default")]] quelto::keychain::ItemStore* queltoOpenEmbeddedKeychain(
    const char* folder);
