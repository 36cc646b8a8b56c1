#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/files/file_result.h"
#include "platform/threads/deadline.h"

struct pollfd;

/// read(2), write(2) and poll(2) that go on after a signal. Descriptors are borrowed for the call. A write to
/// a pipe without a reader raises SIGPIPE as usual: see `IgnoredBrokenPipe`. Thread-safe.
namespace quelto::platform {

/// Reads once and returns how many bytes came; 0 at the end of the input. Absent on an error, which errno
/// then tells: EAGAIN when the descriptor is non-blocking and nothing is there yet.
[[nodiscard]] std::optional<std::size_t> readSome(int fd, std::span<char> buffer);

/// Reads until the buffer is full or the input ends and returns how many bytes came; absent on an error.
[[nodiscard]] std::optional<std::size_t> readFully(int fd, std::span<char> buffer);

/// Reads until the input ends. Failed; or tooLarge, when there are more than `maximumSize` bytes.
/// `expectedSize` only saves memory when it is right.
FileResult<std::string> readUntilEnd(int fd, std::size_t expectedSize, std::size_t maximumSize);

/// Writes once and returns how many bytes were taken; absent on an error, as for `readSome`.
[[nodiscard]] std::optional<std::size_t> writeSome(int fd, std::string_view bytes);

/// Writes everything; waits for a non-blocking descriptor. False when a part could not be written.
[[nodiscard]] bool writeAll(int fd, std::string_view bytes);

/// Brings the names in a folder to the disk; false when the disk fails. True where the file system cannot do
/// that for a folder by itself, and says so.
[[nodiscard]] bool folderReachesDisk(int folder);

/// Waits until one of the requests is ready; false when the deadline comes first or the wait fails.
[[nodiscard]] bool pollUntil(std::span<pollfd> requests, const Deadline& deadline);

}  // namespace quelto::platform
