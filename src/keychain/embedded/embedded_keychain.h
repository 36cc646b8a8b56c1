#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "keychain/item_store.h"
#include "platform/files/private_folder.h"
#include "platform/threads/semaphore.h"

namespace quelto::platform {
class Deadline;
}

namespace quelto::keychain {

namespace embedded {
class Database;
}

/// Items in a folder of the user's own: keychain.sqlite with the attributes in clear and the secrets sealed
/// (AES-256-GCM), master.key with the key, keychain.lock for writers to take turns.
///
/// Protected are a copy of the database alone, and secrets against being altered or moved to another item.
/// Not protected are database and key together. Who can write to the database can also put back an older
/// state of it, and hide an item: by deleting its row, or by changing the class or the column that it is
/// looked up by.
///
/// The first `add` makes the folder and the files, with modes 0700 and 0600. Each call looks at them first
/// and changes nothing in a place that is not as we left it:
/// - errSecNotAvailable: another owner or mode, a symbolic link, a file system that cannot be written, a
///   database of a newer version or with a write-ahead log, any of the other files without the database,
///   another process that keeps it locked.
/// - errSecAuthFailed: the master key is missing or another one.
/// - errSecIO: a damaged or emptied database, a full or failing disk.
/// - errSecItemNotFound: there has never been a keychain here.
///
/// An altered row does not affect other items. Where nothing else is found, `find` and `updateSecret`
/// answer errSecAuthFailed, and `remove` removes it; `add` takes no notice of it. The damage that is seen is
/// that of rows with the same class and service, server or tag as the match, or of the same class when the
/// match has none. SQLite has no checksums: bits that turn in its index can hide an item, but give out no
/// wrong one.
///
/// A success survives a loss of power. A look-up reads the rows of the same service, server or tag, however
/// many others there are; without one in the match, it reads all.
class EmbeddedKeychain final : public ItemStore {
 public:
  /// How long a call waits for others and works, in all; what the disk then still takes is added.
  static constexpr std::chrono::milliseconds callLimit{3500};

  /// Opens nothing: the first call does. The path may be as long as the system's paths.
  explicit EmbeddedKeychain(std::string folder);
  ~EmbeddedKeychain();

  [[nodiscard]] OSStatus find(const ItemMatch& match, Want want, Item& found) override;
  [[nodiscard]] OSStatus add(std::span<const Item> items) override;
  [[nodiscard]] OSStatus updateSecret(const ItemMatch& match, const platform::Secret& secret) override;
  [[nodiscard]] OSStatus remove(const ItemMatch& match) override;

 private:
  enum class WhenAbsent { answerNotFound, make };

  template <typename Work>
  OSStatus withDatabase(WhenAbsent whenAbsent, const Work& work) noexcept;
  [[nodiscard]] std::optional<platform::PrivateFolder> openFolder(WhenAbsent whenAbsent,
                                                                  const platform::Deadline& deadline) const;
  void openDatabase(platform::PrivateFolder folder, const platform::Deadline& deadline);

  const std::string path_;
  /// One call at a time; the others wait within their limit.
  platform::Semaphore free_{1};
  std::unique_ptr<embedded::Database> database_;
  /// The file that was opened last; a keychain that was here once is not made anew.
  std::optional<platform::PrivateFolder::FileIdentity> openedFile_;
};

}  // namespace quelto::keychain
