#pragma once

#include <optional>
#include <string>

namespace quelto::platform {

enum class PathKind { folder, other };

/// What is at a path, symbolic links followed; absent when nothing is, or when the path holds a NUL and so
/// names nothing.
[[nodiscard]] std::optional<PathKind> pathKind(const std::string& path);

/// Whether the real user may execute the file. True for a folder that may be entered.
[[nodiscard]] bool isExecutable(const std::string& path);

/// Whether both paths lead to the same file (device and inode); false when either leads nowhere.
[[nodiscard]] bool isSameFile(const std::string& one, const std::string& other);

/// The folder of what the path names, as "/a" of "/a/b" and "." of "b"; of the root the root itself.
[[nodiscard]] std::string parentFolder(const std::string& path);

}  // namespace quelto::platform
