#include "platform/files/descriptor_io.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace quelto::platform {
namespace {

/// Repeats the call as long as a signal interrupts it.
template <typename Call>
std::optional<std::size_t> completed(const Call& call) {
  for (;;) {
    const ssize_t count = call();
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) return std::nullopt;
  }
}

bool waitUntilWritable(int fd) {
  pollfd request{.fd = fd, .events = POLLOUT, .revents = 0};
  return pollUntil({&request, 1}, Deadline::never());
}

}  // namespace

std::optional<std::size_t> readSome(int fd, std::span<char> buffer) {
  return completed([&] { return ::read(fd, buffer.data(), buffer.size()); });
}

std::optional<std::size_t> readFully(int fd, std::span<char> buffer) {
  std::size_t length = 0;
  while (length < buffer.size()) {
    const auto count = readSome(fd, buffer.subspan(length));
    if (!count) return std::nullopt;
    if (*count == 0) break;
    length += *count;
  }
  return length;
}

FileResult<std::string> readUntilEnd(int fd, std::size_t expectedSize, std::size_t maximumSize) {
  if (expectedSize > maximumSize) return FileError::tooLarge;
  std::string content;
  std::size_t length = 0;
  // One byte more than expected, so that the end is seen without growing the buffer.
  for (std::size_t size = expectedSize; length <= maximumSize; size = std::min(length * 2, maximumSize)) {
    content.resize(size + 1);
    const auto count = readFully(fd, std::span(content).subspan(length));
    if (!count) return FileError::failed;
    length += *count;
    if (length < content.size()) {
      content.resize(length);
      return content;
    }
  }
  return FileError::tooLarge;
}

std::optional<std::size_t> writeSome(int fd, std::string_view bytes) {
  return completed([&] { return ::write(fd, bytes.data(), bytes.size()); });
}

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    if (const auto count = writeSome(fd, bytes)) {
      bytes.remove_prefix(*count);
    } else if (errno != EAGAIN || !waitUntilWritable(fd)) {
      return false;
    }
  }
  return true;
}

bool folderReachesDisk(int folder) { return ::fsync(folder) == 0 || errno == EINVAL || errno == ENOTSUP; }

bool pollUntil(std::span<pollfd> requests, const Deadline& deadline) {
  for (;;) {
    const int ready = ::poll(requests.data(), requests.size(), deadline.pollTimeout());
    if (ready >= 0) return ready > 0;
    if (errno != EINTR) return false;
  }
}

}  // namespace quelto::platform
