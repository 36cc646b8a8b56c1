#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace quelto::platform {

enum class PathKind { folder, other };

/// What stands at a path, symbolic links followed; absent when nothing does, or when the path holds a NUL
/// and so names nothing.
[[nodiscard]] std::optional<PathKind> pathKind(const std::string& path);

/// Whether the real user may execute what stands at the path. True for a folder that may be entered.
[[nodiscard]] bool isExecutable(const std::string& path);

/// Whether both paths lead to the same file (device and inode); false when either leads nowhere.
[[nodiscard]] bool isSameFile(const std::string& one, const std::string& other);

/// The whole content of a regular file; absent when it cannot be read, is larger than `maximumSize` bytes or
/// is no regular file. A FIFO or a device in the file's place is not waited for.
[[nodiscard]] std::optional<std::string> readFile(const std::string& path, std::size_t maximumSize);

/// The same for a file that only this user, root or their groups can have written. Absent also when it
/// belongs to somebody else or may be written by everyone.
[[nodiscard]] std::optional<std::string> readTrustedFile(const std::string& path, std::size_t maximumSize);

}  // namespace quelto::platform
