#pragma once

#include <cstdint>

namespace quelto::keychain {

/// The result of a keychain call. 0 is success; the numbers are fixed, since callers compare and pass them
/// on.
using OSStatus = std::int32_t;

inline constexpr OSStatus errSecSuccess = 0;
/// An argument that the call does not know.
inline constexpr OSStatus errSecParam = -50;
/// The store cannot be written or read: a failing disk, a damaged database, a protocol error.
inline constexpr OSStatus errSecIO = -36;
/// The store cannot be reached or is not to be trusted. Never a reason to create an item elsewhere.
inline constexpr OSStatus errSecNotAvailable = -25291;
/// The stored item or key cannot be authenticated: altered, or sealed under another key.
inline constexpr OSStatus errSecAuthFailed = -25293;
inline constexpr OSStatus errSecDuplicateItem = -25299;
inline constexpr OSStatus errSecItemNotFound = -25300;
/// The store is locked, and the person cannot be asked or did not unlock it.
inline constexpr OSStatus errSecInteractionNotAllowed = -25308;

}  // namespace quelto::keychain
