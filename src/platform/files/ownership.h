#pragma once

struct stat;

/// Who owns a file or folder and who may change it, as fstat(2) tells. "We" are the effective user.
namespace quelto::platform {

/// A folder of ours with mode 0700.
[[nodiscard]] bool isPrivateFolder(const struct stat& status);

/// A regular file of ours with mode 0600.
[[nodiscard]] bool isPrivateFile(const struct stat& status);

/// A regular file of ours, whatever its mode.
[[nodiscard]] bool isOwnFile(const struct stat& status);

/// A local socket of ours.
[[nodiscard]] bool isOwnSocket(const struct stat& status);

/// A symbolic link of ours.
[[nodiscard]] bool isOwnLink(const struct stat& status);

/// A folder of ours that neither its group nor others may write to.
[[nodiscard]] bool isWrittenByUsAlone(const struct stat& status);

/// Owned by us or root, and not writable by everyone.
[[nodiscard]] bool isTrusted(const struct stat& status);

}  // namespace quelto::platform
