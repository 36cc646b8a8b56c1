#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ini/ini_parser.h"
#include "items/account.h"
#include "items/item_records.h"
#include "keychain/sec_dictionary.h"
#include "platform/files/file_version.h"
#include "platform/secrets/secret.h"

namespace quelto::securefile {

/// The password file: an INI file in the user's home folder with one section for each item. The secrets in it
/// are encrypted with a key pair that lives in the keychain. There is one such file in a process, so all
/// members are static. Thread-safe.
///
/// The file is never held open, nor is a part of it kept: each operation reads it whole, and a change writes
/// it whole (`ini::IniFile`). Changes of several threads are made one after the other, and so are those of
/// several processes, unless one waits in vain until `platform::FolderLock::limit`, for a process that is
/// stopped or for very many; in that case the last one wins. What reads the file finds a whole version at all
/// times.
class KeyFile {
 public:
  KeyFile() = delete;

  /// Tags the key pair: see `NewRSAKeyPair::identify`. At first the bundle's group.
  [[nodiscard]] static std::string keyIdentify();
  /// At first ".keys" in the home folder that the password database gives.
  [[nodiscard]] static std::string keyfilePath();
  /// The format of the head comment, whose argument is the time of the save.
  [[nodiscard]] static std::string keyfileHead();
  /// In bits.
  [[nodiscard]] static std::int64_t keySize();
  /// Null until `initSecureKey` has prepared the pair.
  [[nodiscard]] static keychain::SecKeyRef publicKey();
  [[nodiscard]] static keychain::SecKeyRef privateKey();

  /// What takes the place of a member; what is absent stays.
  struct Setup {
    std::optional<std::string> identify;
    /// Put before the head comment.
    std::optional<std::string> headId;
    std::optional<std::string> filePath;
    std::optional<std::int64_t> keySize;
    /// The programs on the access list of a new pair.
    std::vector<std::string> trusted;
  };
  /// Prepares the pair, once: later calls return at once, their arguments unused. A pair that the keychain
  /// does not have is made. One that is there but cannot be read is replaced when the person agrees, or
  /// cannot be asked. The person is then asked whether the file, which the new pair cannot read, should be
  /// deleted. Without a pair afterwards the next call tries again, and may ask again.
  ///
  /// True only when half of the pair was missing in the keychain. Blocks while the person is asked, which
  /// only the main thread does: see `platform::runOnMainThread`. Threads wait for each other here, processes
  /// too while a pair is made.
  static bool initSecureKey(const Setup& setup);

  /// The name of a new item's section, from the fields that identify it: see `util::sha256base64`.
  [[nodiscard]] static std::string genSectionName(const ini::IniSection& item);

  /// The first section that matches; absent when none does, or the file cannot be read. The name of a note
  /// that is empty matches any.
  [[nodiscard]] static std::optional<ini::IniSection> findSecItem(const items::SecPasswordStruct& match);

  /// The secret of the section that `findSecItem` finds; empty when it cannot be decrypted or is not UTF-8.
  /// Absent also without a private key.
  [[nodiscard]] static std::optional<platform::Secret> loadSecItemPassword(
      const items::SecPasswordStruct& match);
  /// The same with its account, which is empty when it has none.
  [[nodiscard]] static std::optional<items::Account> loadSecItemAccount(
      const items::SecPasswordStruct& match);

  /// Replaces the secret of the last section that matches, and its time of change, and nothing else; or adds
  /// a section. False, and the file is left as it was, when
  /// - a text of the item holds a line end, or the secret is not UTF-8;
  /// - there is no public key;
  /// - the file is there but cannot be read, or has entries that a save would lose
  ///   (`ini::IniFile::hasLostEntries`);
  /// - it cannot be saved: see `ini::IniFile::saveAll`.
  [[nodiscard]] static bool addSecItem(const items::SecPasswordStruct& settings,
                                       const platform::Secret& password);

  enum class DeleteAll : bool { no, yes };
  /// Deletes the first section that matches, or all that do. The file is saved also when none does, and made
  /// when it is missing. False as above.
  [[nodiscard]] static bool deleteSecItem(const items::SecPasswordStruct& match, DeleteAll deleteAll);

 private:
  /// Calls the function with the file's path while no other thread and no other process changes the file, and
  /// returns what it returns.
  static bool runAlone(const std::function<bool(const std::string& path)>& change);

  static void rebuildKeyPairPrompt(bool& newPair);
  static void rebuildKeyFilePrompt(const platform::FileVersion& old);

  /// Held from each reading of the file to its save. Never while a person is asked or a key is used. Never
  /// destroyed.
  static std::mutex accessLock;
};

}  // namespace quelto::securefile
