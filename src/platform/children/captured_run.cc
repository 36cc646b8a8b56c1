#include "platform/children/captured_run.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <span>

#include "platform/children/child_options.h"
#include "platform/files/descriptor_io.h"
#include "platform/files/descriptors.h"

namespace quelto::platform {
namespace {

/// Keeps the first `limit` bytes and remembers that there were more.
class LimitedText {
 public:
  explicit LimitedText(std::size_t limit) : limit_(limit) {}
  void append(const char* bytes, std::size_t count) {
    const std::size_t kept = std::min(count, limit_ - text_.size());
    text_.append(bytes, kept);
    overflowed_ = overflowed_ || kept < count;
  }
  [[nodiscard]] std::optional<std::string> take() && {
    if (overflowed_) return std::nullopt;
    return std::move(text_);
  }

 private:
  std::size_t limit_;
  std::string text_;
  bool overflowed_ = false;
};

constexpr std::size_t readSize = 4096;

/// Reads once, at most `most` bytes, and returns how many; 0 at the end of the input and on an error.
std::size_t takeSome(int fd, std::size_t most, LimitedText& text) {
  std::array<char, readSize> buffer;
  const auto count = readSome(fd, std::span(buffer).first(std::min(most, buffer.size())));
  text.append(buffer.data(), count.value_or(0));
  return count.value_or(0);
}

/// Reads what is in the pipe at this moment and no more: a background job may write for ever.
void drain(int fd, LimitedText& text) {
  int waiting = 0;
  if (::ioctl(fd, FIONREAD, &waiting) != 0) return;
  for (auto left = static_cast<std::size_t>(waiting); left > 0;) {
    const std::size_t count = takeSome(fd, left, text);
    if (count == 0) return;
    left -= count;
  }
}

/// Reads until the input ends or the child does, whichever comes first. Where the kernel gives no descriptor
/// for the child's end (-1, which poll ignores), only the end of the input counts.
void readUntilChildEnds(int input, int childEnd, LimitedText& text) {
  std::array<pollfd, 2> requests{pollfd{.fd = input, .events = POLLIN, .revents = 0},
                                 pollfd{.fd = childEnd, .events = POLLIN, .revents = 0}};
  while (pollUntil(requests, Deadline::never())) {
    if (requests[1].revents != 0) return drain(input, text);
    if (requests[0].revents != 0 && takeSome(input, readSize, text) == 0) return;
  }
}

}  // namespace

bool CapturedRun::start(ChildOptions options) {
  Pipe pipe = makePipe();
  if (!pipe.readEnd) return false;
  options.descriptors.push_back({.ours = pipe.writeEnd.get(), .theirs = STDOUT_FILENO});
  output_ = std::move(pipe.readEnd);
  return child_.launch(options);
}

CapturedOutput CapturedRun::finish(std::size_t limit) {
  LimitedText text(limit);
  readUntilChildEnds(output_.get(), child_.exitDescriptor().get(), text);
  const int status = child_.waitUntilExit();
  return {.terminationStatus = status, .output = std::move(text).take()};
}

}  // namespace quelto::platform
