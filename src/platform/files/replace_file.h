#pragma once

#include <string>
#include <string_view>

namespace quelto::platform {

/// What is done with a symbolic link in a file's place.
enum class Links {
  /// The file takes the link's place, as it does that of anything else but a folder.
  replaced,
  /// A link of the effective user stays, and the file that it leads to is replaced in its own folder, also
  /// through further links of the user, up to 8 in all. A file that is missing at the end is made. A link of
  /// anybody else is refused.
  ownFollowed,
};

/// Makes this the content of a file, by a `TemporaryFile`: whatever happens, the file has its old content or
/// the new one, whole. A missing file is made with mode 0600; one that is there keeps of its mode what is
/// within 0600. False when a folder is there or, with `ownFollowed`, anything but a regular file of the
/// effective user, the folder is missing or may not be written, or the disk is full or fails. The file is
/// then as it was, unless the disk failed last of all, when the new name was to be made safe from a loss of
/// power. Threads and processes that replace a file at once all succeed, and one content stays. Thread-safe.
[[nodiscard]] bool replaceFile(const std::string& path, std::string_view content, Links links);

}  // namespace quelto::platform
