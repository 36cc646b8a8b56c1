#pragma once

namespace quelto::keychain::embedded {

/// The name of SQLite's default VFS with one change: it opens a path as it is given. The default one first
/// resolves all links, which makes the folder's real path out of "/proc/self/fd/N/name": longer than SQLite's
/// limit of 512 characters where the system allows 4096. A link in the place of the file itself is refused
/// (SQLite opens with O_NOFOLLOW), which resolving would hide. Null when SQLite has no VFS. Registered once
/// per process. Thread-safe.
[[nodiscard]] const char* unresolvedPathVfs();

}  // namespace quelto::keychain::embedded
