#include "platform/files/descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace quelto::platform {
namespace {

/// Children are given descriptors below this number only.
constexpr int lowestNumber = 16;

}  // namespace

Pipe makePipe() {
  std::array<int, 2> ends{-1, -1};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return {};
  return {.readEnd = UniqueFd(ends[0]), .writeEnd = UniqueFd(ends[1])};
}

UniqueFd movedUp(UniqueFd fd) { return UniqueFd(fd ? ::fcntl(fd.get(), F_DUPFD_CLOEXEC, lowestNumber) : -1); }

UniqueFd openNullDevice() { return UniqueFd(::open("/dev/null", O_RDWR | O_CLOEXEC)); }

bool makeNonBlocking(int fd) {
  const int flags = ::fcntl(fd, F_GETFL);
  return flags != -1 && ::fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0;
}

}  // namespace quelto::platform
