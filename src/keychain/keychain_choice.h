#pragma once

#include <span>

#include "keychain/item_store.h"

/// Which place keeps this user's items. The first item that is added settles it for good, in a record in the
/// data folder: what was saved in one kind of session must never be "not found" in another.
namespace quelto::platform::keychain {

struct ChosenStore {
  OSStatus status;
  /// Null unless the status is success. Lives as long as the process.
  ItemStore* store;
};

/// The settled place; `errSecNotAvailable` when it cannot be reached. As long as none is settled: the Secret
/// Service when a session bus is there and the service is running or can be started, the embedded keychain
/// when there is no such service, and `errSecNotAvailable` when there may be one that does not answer. Asked
/// afresh at every call. Thread-safe.
[[nodiscard]] ChosenStore chosenStore();

/// Settles the chosen place and adds the items to it; when that fails and certainly nothing was kept, a place
/// that was settled for it is settled no more. Nothing is added where the place cannot be settled. Items that
/// come together are kept all or none, unless the process or the place dies in between. Results are as in
/// `ItemStore`, or those of `chosenStore`. Thread-safe.
[[nodiscard]] OSStatus addToChosenStore(std::span<const Item> items);

}  // namespace quelto::platform::keychain
