#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "platform/files/file_result.h"

namespace quelto::platform {

/// The whole content of a regular file; absent when it cannot be read, is larger than `maximumSize` bytes or
/// is not a regular file. Never waits for a FIFO or a device.
[[nodiscard]] std::optional<std::string> readFile(const std::string& path, std::size_t maximumSize);

/// The same for a file that only this user, root or their groups can have written. Absent; refused when it
/// belongs to somebody else, everyone may write it, it is no regular file or cannot be opened; tooLarge; or
/// failed.
[[nodiscard]] FileResult<std::string> readTrustedFile(const std::string& path, std::size_t maximumSize);

}  // namespace quelto::platform
