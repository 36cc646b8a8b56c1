#pragma once

#include <optional>
#include <string>
#include <vector>

#include "keychain/os_status.h"
#include "keychain/sec_dictionary.h"

/// The user's keychain: items found, added, changed and deleted by dictionaries. Where they are kept is
/// decided in item_place.h. A settled place that cannot be reached answers `errSecNotAvailable`, a locked one
/// `errSecInteractionNotAllowed`, and neither ever `errSecItemNotFound`. Before anything was ever saved,
/// find, update and delete answer `errSecItemNotFound` at once. Every call ends within five seconds; the very
/// first addition, for which a place is settled, within nine. A dictionary with a key that the call does not
/// know, a value of the wrong type, or without a class is answered with `errSecParam`. Thread-safe.
namespace quelto::keychain {

/// Finds the first (oldest) item that equals the query in all its attributes. The result, when it is asked
/// for, is of a password item the data (`kSecReturnData`) or a dictionary of the attributes
/// (`kSecReturnAttributes`; with the data in it when both are asked for), of a key a `SecKeyRef`
/// (`kSecReturnRef`).
[[nodiscard]] OSStatus SecItemCopyMatching(const SecDictionary& query, std::optional<SecValue>* result);

/// Adds a password item with `kSecValueData` as its data. `errSecDuplicateItem` when there is one of the same
/// identity: of generic passwords account, service, generic and type; of internet passwords account, server,
/// port, protocol, path, authentication type and domain.
[[nodiscard]] OSStatus SecItemAdd(const SecDictionary& attributes);

/// Replaces the data of the first item that the query means by that of `changes`, which may hold nothing
/// else. The query must say `kSecMatchLimitOne`.
[[nodiscard]] OSStatus SecItemUpdate(const SecDictionary& query, const SecDictionary& changes);

/// Deletes the first item that the query means. The query must say `kSecMatchLimitOne`. A key is deleted only
/// where a new one could be made: `errSecNotAvailable` without the crypto module.
[[nodiscard]] OSStatus SecItemDelete(const SecDictionary& query);

/// A program that an access list names; made from the path of a file that exists, else `errSecParam`.
struct SecTrustedApplication {
  std::string path;
};
[[nodiscard]] OSStatus SecTrustedApplicationCreateFromPath(const std::string& path,
                                                           SecTrustedApplication& application);

[[nodiscard]] OSStatus SecAccessCreate(const std::string& descriptor,
                                       const std::vector<SecTrustedApplication>& trustedList,
                                       SecAccessRef& access);

}  // namespace quelto::keychain
