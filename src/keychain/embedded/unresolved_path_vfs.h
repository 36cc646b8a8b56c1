#pragma once

namespace quelto::keychain::embedded {

/// The name of SQLite's default VFS with one change: it opens a path as it is given. The default one resolves
/// all links first, which makes of "/proc/self/fd/N/name" the folder's real path: refused under
/// SQLITE_OPEN_NOFOLLOW for the links in /proc, and over SQLite's limit of 512 characters where the system
/// allows 4096. A link in the place of the file itself is still not followed. Null when SQLite has no VFS.
/// Registered once per process. Thread-safe.
[[nodiscard]] const char* unresolvedPathVfs();

}  // namespace quelto::keychain::embedded
