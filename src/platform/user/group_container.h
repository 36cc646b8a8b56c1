#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The folder that programs of one group share: "quelto/GROUP" in `$XDG_RUNTIME_DIR` when that is an absolute
/// path to a folder that we alone may write to, else "groups/GROUP" in `dataFolder`. Absent for a group whose
/// name is empty, ".", or holds "/", ".." or NUL, and without either folder. Thread-safe.
namespace quelto::platform {

/// Absent also unless the folder is there, ours alone (0700) and no symbolic link. Makes nothing.
[[nodiscard]] std::optional<std::string> containerFolder(std::string_view group);

/// The same after the folder, and those above it that are missing, were made; absent when that fails.
[[nodiscard]] std::optional<std::string> makeContainerFolder(std::string_view group);

}  // namespace quelto::platform
