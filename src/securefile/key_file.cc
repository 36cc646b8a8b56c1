#include "securefile/key_file.h"

#include <initializer_list>
#include <span>
#include <utility>

#include "items/item_texts.h"
#include "platform/bundle/bundle.h"
#include "platform/files/folder_lock.h"
#include "platform/files/path_status.h"
#include "platform/files/private_folder.h"
#include "platform/threads/deadline.h"
#include "platform/threads/main_queue.h"
#include "platform/threads/semaphore.h"
#include "platform/user/user.h"
#include "securefile/rsa_keys.h"
#include "ui/dialogs.h"
#include "ui/localized_strings.h"
#include "ui/text_format.h"
#include "util/hashing.h"
#include "util/paths.h"

namespace quelto::securefile {
namespace {

using keychain::OSStatus;

constexpr const char* defaultHead = "Secure file V1.0 (%@)";
constexpr std::int64_t defaultKeySize = 2048;

struct Members {
  std::string keyIdentify = util::groupId();
  std::string keyfilePath = util::appendPathComponent(util::userHomePath(), ".keys");
  std::string keyfileHead = defaultHead;
  std::int64_t keySize = defaultKeySize;
  RSAKeyPair pair;
};

constinit std::mutex membersLock;

/// Made on first use, never destroyed. Only under their lock.
Members& members() {
  static auto* const made = new Members;
  return *made;
}

template <typename Member>
Member valueOf(Member Members::*member) {
  const std::lock_guard lock(membersLock);
  return members().*member;
}

void apply(const KeyFile::Setup& setup) {
  const std::lock_guard lock(membersLock);
  if (setup.identify) members().keyIdentify = *setup.identify;
  if (setup.headId) members().keyfileHead = *setup.headId + " - " + defaultHead;
  if (setup.filePath) members().keyfilePath = *setup.filePath;
  if (setup.keySize) members().keySize = *setup.keySize;
}

void keep(const RSAKeyPair& pair) {
  const std::lock_guard lock(membersLock);
  members().pair = pair;
}

/// What the keychain has of the pair.
struct FoundPair {
  RSAKeyPair pair;
  /// The keychain could be read and has not both halves.
  bool isMissing = false;
};

bool isWhole(const RSAKeyPair& pair) { return pair.publicKey != nullptr && pair.privateKey != nullptr; }

FoundPair findPair() {
  const auto find = [](bool isPrivate, OSStatus& status) {
    return getRSAKeyFromKeychain({.keySize = KeyFile::keySize(),
                                  .isPrivate = isPrivate,
                                  .identify = KeyFile::keyIdentify(),
                                  .label = std::nullopt},
                                 status);
  };
  FoundPair found;
  OSStatus publicStatus = keychain::errSecSuccess;
  OSStatus privateStatus = keychain::errSecSuccess;
  found.pair.publicKey = find(false, publicStatus);
  found.pair.privateKey = find(true, privateStatus);
  found.isMissing =
      publicStatus == keychain::errSecItemNotFound || privateStatus == keychain::errSecItemNotFound;
  return found;
}

std::string textWithPrefix(const char* name, const char* value) {
  return ui::formatted(ui::localizedString(name, ui::defaultGlobalLocalizedTable, value),
                       std::span(&items::keychainPrefix(), 1));
}

std::optional<RSAKeyPair> makePair(const std::vector<std::string>& trusted) {
  return generateRSAKeyPair({.keySize = KeyFile::keySize(),
                             .identify = KeyFile::keyIdentify(),
                             .label = textWithPrefix("rsa_key_label", "%@ - Password file secure key"),
                             .accessName = textWithPrefix("keychain_access_name", "%@ Keychain item"),
                             .trustedAppPaths = trusted});
}

/// A question with a title and a message, each a key and its default.
struct Question {
  const char* titleId;
  const char* titleDefault;
  const char* messageId;
  const char* messageDefault;
};

void ask(const Question& question, std::function<void(std::optional<bool>)> action) {
  const auto executable = platform::Bundle::mainBundle().executablePath();
  ui::showAlertDialog({.iconId = "warning.png",
                       .titleId = question.titleId,
                       .titleDefault = question.titleDefault,
                       .messageId = question.messageId,
                       .messageDefault = question.messageDefault,
                       .arguments = {},
                       .buttonYesId = "button_yes",
                       .buttonYesDefault = "Yes",
                       .buttonNoId = "button_no",
                       .buttonNoDefault = "No",
                       .resourceUrl = executable ? platform::parentFolder(*executable) : "",
                       .table = std::string(ui::defaultGlobalLocalizedTable),
                       .action = std::move(action)});
}

/// Lets one thread at a time prepare the pair. A semaphore, since the main thread may wait here for a thread
/// that waits for the main thread to ask the person.
class PreparationTurn {
 public:
  PreparationTurn() { free().wait(); }
  ~PreparationTurn() { free().signal(); }
  PreparationTurn(const PreparationTurn&) = delete;
  PreparationTurn& operator=(const PreparationTurn&) = delete;

 private:
  static platform::Semaphore& free() {
    static auto* const semaphore = new platform::Semaphore(1);
    return *semaphore;
  }
};

/// What came of the decision for a new pair.
struct Renewal {
  RSAKeyPair pair;
  bool isNeeded = true;
  /// The file whose secrets the new pair cannot decrypt.
  std::optional<platform::FileVersion> oldFile;
};

/// Makes a new pair, unless the keychain has one now that it is looked up again: another process may have
/// made it meanwhile, or the keychain did not answer at first. Whoever makes the pair keeps the other
/// processes out from here to the end, wherever the keychain keeps its items.
Renewal renewPair(const std::vector<std::string>& trusted, bool mayReplaceUnreadable) {
  const std::string folder = platform::dataFolder().value_or("");
  static_cast<void>(platform::PrivateFolder::openOrMake(folder));
  const platform::FolderLock lock(folder);
  const FoundPair found = findPair();
  if (isWhole(found.pair)) return {.pair = found.pair, .isNeeded = false, .oldFile = std::nullopt};
  if (!found.isMissing && !mayReplaceUnreadable) return {};
  // As soon as the pair is made other processes may add to the file what it can decrypt.
  const auto oldFile = platform::fileVersion(KeyFile::keyfilePath());
  if (const auto made = makePair(trusted)) return {.pair = *made, .oldFile = oldFile};
  // Somebody who did not wait for the lock may have been first.
  return {.pair = findPair().pair, .oldFile = std::nullopt};
}

}  // namespace

constinit std::mutex KeyFile::accessLock;

std::string KeyFile::keyIdentify() { return valueOf(&Members::keyIdentify); }

std::string KeyFile::keyfilePath() { return valueOf(&Members::keyfilePath); }

std::string KeyFile::keyfileHead() { return valueOf(&Members::keyfileHead); }

std::int64_t KeyFile::keySize() { return valueOf(&Members::keySize); }

keychain::SecKeyRef KeyFile::publicKey() { return valueOf(&Members::pair).publicKey; }

keychain::SecKeyRef KeyFile::privateKey() { return valueOf(&Members::pair).privateKey; }

bool KeyFile::initSecureKey(const Setup& setup) {
  const PreparationTurn turn;
  if (isWhole(valueOf(&Members::pair))) return false;
  apply(setup);
  const FoundPair found = findPair();
  if (isWhole(found.pair)) {
    keep(found.pair);
    return false;
  }
  bool newPair = found.isMissing;
  if (!newPair) platform::runOnMainThread([&newPair] { rebuildKeyPairPrompt(newPair); });
  if (!newPair) return false;
  const Renewal renewal = renewPair(setup.trusted, !found.isMissing);
  if (isWhole(renewal.pair)) keep(renewal.pair);
  if (renewal.oldFile && platform::fileVersion(keyfilePath()) == renewal.oldFile) {
    platform::runOnMainThread([&renewal] { rebuildKeyFilePrompt(*renewal.oldFile); });
  }
  return found.isMissing && renewal.isNeeded;
}

void KeyFile::rebuildKeyPairPrompt(bool& newPair) {
  ask({.titleId = "gen_rsa_key_title",
       .titleDefault = "Failed to read the secure key pair",
       .messageId = "gen_rsa_key_mesg",
       .messageDefault = "Do you want to generate a new secure key pair?"},
      [&newPair](std::optional<bool> answer) { newPair = newPair || answer.value_or(true); });
}

void KeyFile::rebuildKeyFilePrompt(const platform::FileVersion& old) {
  ask({.titleId = "new_rsa_key_title",
       .titleDefault = "Cannot find the secure key pair",
       .messageId = "new_rsa_key_mesg",
       .messageDefault =
           "New secure key pair has been created, do you want to delete the old password store file?"},
      [&old](std::optional<bool> answer) {
        // Not what other processes, which have the new pair, have saved since.
        const auto remove = [&old](const std::string& path) { return platform::removeFile(path, old); };
        if (answer.value_or(false)) runAlone(remove);
      });
}

std::string KeyFile::genSectionName(const ini::IniSection& item) {
  std::string text;
  for (const char* const key :
       {"account", "service", "name", "domain", "scheme", "server", "port", "path", "auth", "generic"}) {
    const std::string* const value = item.find(key);
    if (value != nullptr) text += *value;
    text += '\n';
  }
  text.pop_back();  // separators, no ends
  return util::sha256base64(text, {.secure = true});
}

bool KeyFile::runAlone(const std::function<bool(const std::string& path)>& change) {
  // Whether the last change had the lock of the folder.
  static constinit bool wasAlone = true;
  const std::string path = keyfilePath();
  platform::Deadline deadline(platform::FolderLock::limit);
  const std::lock_guard lock(accessLock);
  // Threads do not wait one after the other for a process that is stopped.
  if (wasAlone) deadline = platform::Deadline(platform::FolderLock::limit);
  const platform::FolderLock folderLock(platform::parentFolder(path), deadline);
  wasAlone = folderLock.isHeld();
  return change(path);
}

}  // namespace quelto::securefile
