#include "keychain/keychain_choice.h"

#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>

#include "keychain/embedded/embedded_keychain.h"
#include "keychain/failure.h"
#include "keychain/item_dictionary.h"
#include "keychain/secret_service/secret_service_keychain.h"
#include "platform/bundle/module.h"
#include "platform/files/private_folder.h"
#include "platform/user/user.h"

namespace quelto::platform::keychain {
namespace {

enum class Place { secretService, embedded };

constexpr const char* recordName = "keychain-place";
constexpr std::string_view secretServiceRecord = "secret-service\n";
constexpr std::string_view embeddedRecord = "embedded\n";

/// Absent when none is settled yet. Throws Failure when the record, or the folder that it is in, is not as we
/// leave it.
std::optional<Place> settledPlace(const std::string& folderPath) {
  const auto folder = PrivateFolder::open(folderPath);
  if (!folder || !folder->file(recordName)) return std::nullopt;
  const auto record = folder->read(recordName, 64);
  if (record && record->view() == secretServiceRecord) return Place::secretService;
  if (record && record->view() == embeddedRecord) return Place::embedded;
  throw Failure(errSecNotAvailable);
}

/// Settles the place unless one is settled; whether this call did. Throws Failure when the record cannot be
/// written.
bool settle(const std::string& folderPath, Place place) {
  if (settledPlace(folderPath)) return false;
  PrivateFolder::openOrMake(folderPath)
      .publish(recordName, place == Place::embedded ? embeddedRecord : secretServiceRecord);
  return true;
}

/// Unsettles a place that has turned out to have kept nothing.
void unsettle(const std::string& folderPath) noexcept {
  // What cannot be removed stays settled, which loses nothing.
  ::unlink((folderPath + "/" + recordName).c_str());
}

template <typename Function>
Function* moduleFunction(const char* fileName, const char* entryName) {
  return reinterpret_cast<Function*>(moduleEntry(fileName, entryName));
}

constexpr const char* secretServiceModule = "libquelto_secret_service.so";

SecretServiceState secretServiceState() {
  static const auto ask =
      moduleFunction<decltype(queltoSecretServiceState)>(secretServiceModule, "queltoSecretServiceState");
  return ask != nullptr ? ask() : SecretServiceState::absent;
}

ItemStore* openStore(Place place, const std::string& folder) {
  if (place == Place::secretService) {
    static const auto open =
        moduleFunction<decltype(queltoOpenSecretService)>(secretServiceModule, "queltoOpenSecretService");
    return open != nullptr ? open() : nullptr;
  }
  static const auto open = moduleFunction<decltype(queltoOpenEmbeddedKeychain)>(
      "libquelto_embedded_keychain.so", "queltoOpenEmbeddedKeychain");
  return open != nullptr ? open(folder.c_str()) : nullptr;
}

struct Choice {
  std::string folder;
  Place place = Place::embedded;
  ItemStore* store = nullptr;
};

/// Throws Failure when there is none.
Choice choose() {
  const auto folder = dataFolder();
  if (!folder) throw Failure(errSecNotAvailable);
  auto place = settledPlace(*folder);
  if (place != Place::embedded) {
    const SecretServiceState state = secretServiceState();
    const bool mayBeThere = state != SecretServiceState::absent || place == Place::secretService;
    if (mayBeThere && state != SecretServiceState::present) throw Failure(errSecNotAvailable);
    place = mayBeThere ? Place::secretService : Place::embedded;
  }
  ItemStore* const store = openStore(*place, *folder);
  if (store == nullptr) throw Failure(errSecNotAvailable);
  return {.folder = *folder, .place = *place, .store = store};
}

/// All or none. What was added before a failure goes again: only the halves of a key pair come together, and
/// their attributes mean them alone.
OSStatus addAll(ItemStore& store, std::span<const Item> items) {
  for (std::size_t index = 0; index < items.size(); ++index) {
    const OSStatus status = store.add(items[index], identityOf(items[index].itemClass));
    if (status == errSecSuccess) continue;
    for (const Item& added : items.first(index)) {
      (void)store.remove({.itemClass = added.itemClass, .attributes = added.attributes}, HowMany::first);
    }
    return status;
  }
  return errSecSuccess;
}

/// Whether an addition that failed has certainly left nothing behind, nor will when the place comes to itself
/// again.
bool hasKeptNothing(ItemStore& store, std::span<const Item> items, OSStatus failure) {
  if (failure == errSecInteractionNotAllowed || failure == errSecParam) return true;
  // It may have got the request all the same.
  if (failure == errSecNotAvailable) return false;
  Item found;
  const ItemMatch match{.itemClass = items.front().itemClass, .attributes = items.front().attributes};
  return store.find(match, ItemStore::Want::attributes, found) == errSecItemNotFound;
}

}  // namespace

ChosenStore chosenStore() {
  try {
    return {.status = errSecSuccess, .store = choose().store};
  } catch (const Failure& failure) {
    return {.status = failure.status(), .store = nullptr};
  }
}

OSStatus addToChosenStore(std::span<const Item> items) {
  try {
    Choice choice = choose();
    // Before the first item: one that is kept where nobody looks from the next kind of session is as good as
    // lost.
    const bool isFirst = settle(choice.folder, choice.place);
    // Another process may have been first.
    if (settledPlace(choice.folder) != choice.place) choice = choose();
    const OSStatus status = addAll(*choice.store, items);
    if (status != errSecSuccess && isFirst && hasKeptNothing(*choice.store, items, status))
      unsettle(choice.folder);
    return status;
  } catch (const Failure& failure) {
    return failure.status();
  }
}

}  // namespace quelto::platform::keychain
