#pragma once

#include <optional>
#include <string>
#include <vector>

#include "keychain/os_status.h"
#include "keychain/sec_dictionary.h"

/// The user's keychain: items found, added, changed and deleted by dictionaries. Which place keeps the items
/// is decided in keychain_choice.h; a place that was chosen before and cannot be reached answers
/// `errSecNotAvailable`, a locked one `errSecInteractionNotAllowed`, and neither ever `errSecItemNotFound`.
/// Every call ends within five seconds; an addition that settles the place and fails looks once more what was
/// kept, which may take another four. A dictionary with a key that the call does not know, a value of the
/// wrong type, or without a class is answered with `errSecParam`. Thread-safe.
namespace quelto::platform {

/// Finds the first (oldest) item that equals the query in all its attributes. The result, when it is asked
/// for, is the data (`kSecReturnData`), a dictionary of the attributes (`kSecReturnAttributes`; with the data
/// in it when both are asked for), or a reference (`kSecReturnRef`: a `SecKeyRef` for a key).
[[nodiscard]] OSStatus SecItemCopyMatching(const SecDictionary& query, std::optional<SecValue>* result);

/// Adds a password item with `kSecValueData` as its data. `errSecDuplicateItem` when there is one of the same
/// identity: of generic passwords account, service, generic and type; of internet passwords account, server,
/// port, protocol, path, authentication type and domain.
[[nodiscard]] OSStatus SecItemAdd(const SecDictionary& attributes);

/// Replaces the data of the items that the query means by that of `changes`, which may hold nothing else;
/// with `kSecMatchLimitOne` of the first one only.
[[nodiscard]] OSStatus SecItemUpdate(const SecDictionary& query, const SecDictionary& changes);

/// Deletes the items that the query means, with `kSecMatchLimitOne` the first one only. Success means that at
/// least one has gone.
[[nodiscard]] OSStatus SecItemDelete(const SecDictionary& query);

/// A program that an access list names; made from the path of a file that exists.
struct SecTrustedApplication {
  std::string path;
};
[[nodiscard]] OSStatus SecTrustedApplicationCreateFromPath(const std::string& path,
                                                           SecTrustedApplication& application);

[[nodiscard]] OSStatus SecAccessCreate(const std::string& descriptor,
                                       const std::vector<SecTrustedApplication>& trustedList,
                                       SecAccessRef& access);

}  // namespace quelto::platform
