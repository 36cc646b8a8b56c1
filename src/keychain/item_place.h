#pragma once

#include "keychain/item_store.h"

/// Which place keeps this user's items: the desktop's keyring or the embedded keychain. The first addition
/// settles it for good, in a record in the user's data folder, so that what was saved in one kind of session
/// is never "not found" in another. Asked afresh at every call. Thread-safe.
namespace quelto::keychain {

struct PlacedStore {
  /// Other than success when there is no store.
  OSStatus status = errSecNotAvailable;
  /// Lives as long as the process.
  ItemStore* store = nullptr;
};

/// The store of the settled place, which may turn out to be out of reach only when it is used.
/// `errSecItemNotFound`, and no module is loaded, when none is settled: nothing was ever saved.
/// `errSecNotAvailable` when the record is not as it was written, or the place's module is missing.
[[nodiscard]] PlacedStore settledStore();

/// The same, but settles a place first when none is: the keyring where it can be opened in this session, the
/// embedded keychain where there is no keyring or nobody can open it here. Nothing is settled, and nothing
/// must be saved, when
/// - the person did not open the keyring: `errSecInteractionNotAllowed`
/// - there may be a keyring that does not answer: `errSecNotAvailable`
/// - the record cannot be written: `errSecIO`.
[[nodiscard]] PlacedStore storeForAdding();

}  // namespace quelto::keychain
