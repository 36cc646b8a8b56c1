#include "keychain/item_place.h"

#include <optional>
#include <string>
#include <string_view>

#include "keychain/embedded/embedded_keychain_module.h"
#include "keychain/secret_service/secret_service_module.h"
#include "platform/bundle/module.h"
#include "platform/files/private_folder.h"
#include "platform/user/user.h"

namespace quelto::keychain {
namespace {

using platform::FileError;
using platform::FileResult;
using platform::PrivateFolder;

enum class Place { secretService, embedded };

constexpr const char* recordName = "keychain-place";
constexpr std::string_view secretServiceRecord = "secret-service\n";
constexpr std::string_view embeddedRecord = "embedded\n";

constexpr const char* secretServiceModule = "libquelto_secret_service.so";
constexpr const char* embeddedKeychainModule = "libquelto_embedded_keychain.so";

/// Absent when no place is settled; any other error when the record, or its folder, is not as it was written.
FileResult<Place> settledPlace(const std::string& folderPath) {
  const auto folder = PrivateFolder::open(folderPath);
  if (!folder) return folder.error();
  const auto record = folder->read(recordName, 64);
  if (!record) return record.error();
  if (record->view() == secretServiceRecord) return Place::secretService;
  if (record->view() == embeddedRecord) return Place::embedded;
  return FileError::refused;
}

/// Settles the place unless one is settled; false when the record cannot be written.
bool settle(const std::string& folderPath, Place place) {
  const auto folder = PrivateFolder::openOrMake(folderPath);
  return folder &&
         folder->publish(recordName, place == Place::embedded ? embeddedRecord : secretServiceRecord);
}

KeyringState openKeyring() {
  static const auto open =
      platform::moduleFunction<decltype(queltoOpenKeyring)>(secretServiceModule, "queltoOpenKeyring");
  return open != nullptr ? open() : KeyringState::notHere;
}

PlacedStore storeIn(Place place, const std::string& folder) {
  ItemStore* store = nullptr;
  if (place == Place::secretService) {
    static const auto get = platform::moduleFunction<decltype(queltoSecretServiceStore)>(
        secretServiceModule, "queltoSecretServiceStore");
    if (get != nullptr) store = get();
  } else {
    static const auto get = platform::moduleFunction<decltype(queltoEmbeddedKeychain)>(
        embeddedKeychainModule, "queltoEmbeddedKeychain");
    if (get != nullptr) store = get(folder.c_str());
  }
  return {.status = store != nullptr ? errSecSuccess : errSecNotAvailable, .store = store};
}

/// The place for a first item; otherwise the reason why nothing is saved.
struct FirstPlace {
  OSStatus status = errSecSuccess;
  Place place = Place::embedded;
};

FirstPlace firstPlace() {
  switch (openKeyring()) {
    case KeyringState::open:
      return {.place = Place::secretService};
    case KeyringState::notHere:
      return {.place = Place::embedded};
    case KeyringState::leftLocked:
      return {.status = errSecInteractionNotAllowed};
    case KeyringState::noAnswer:
      break;
  }
  return {.status = errSecNotAvailable};
}

}  // namespace

PlacedStore settledStore() {
  const auto folder = platform::dataFolder();
  if (!folder) return {.status = errSecNotAvailable};
  const auto place = settledPlace(*folder);
  if (place) return storeIn(*place, *folder);
  return {.status = place.isAbsent() ? errSecItemNotFound : errSecNotAvailable};
}

PlacedStore storeForAdding() {
  const auto folder = platform::dataFolder();
  if (!folder) return {.status = errSecNotAvailable};
  auto place = settledPlace(*folder);
  if (place.isAbsent()) {
    const FirstPlace first = firstPlace();
    if (first.status != errSecSuccess) return {.status = first.status};
    // Before the first item: one in a place where the next kind of session does not look is as good as lost.
    if (!settle(*folder, first.place)) return {.status = errSecIO};
    // Another process may have settled another place meanwhile.
    place = settledPlace(*folder);
  }
  return place ? storeIn(*place, *folder) : PlacedStore{.status = errSecNotAvailable};
}

}  // namespace quelto::keychain
