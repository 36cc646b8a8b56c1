#include "platform/run_loop/run_loop_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/files/descriptor_io.h"
#include "platform/files/descriptors.h"

namespace quelto::platform {
namespace {

/// What one read may deliver.
constexpr std::size_t blockSize = std::size_t{64} << 10U;

/// Absent for a path that must not be used: a name that is cut would be another file's.
std::optional<sockaddr_un> addressOf(const std::string& path) {
  if (!path.starts_with('/') || path.size() > RunLoopSocket::maximumPathLength) return std::nullopt;
  if (path.find('\0') != std::string::npos) return std::nullopt;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::ranges::copy(path, address.sun_path);
  return address;
}

/// bind(2) or connect(2); false with errno.
bool applyTo(int socket, const sockaddr_un& address, int (*call)(int, const sockaddr*, socklen_t)) {
  return call(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

bool hasOption(int socket, int name, int expected) {
  int value = 0;
  socklen_t length = sizeof value;
  return ::getsockopt(socket, SOL_SOCKET, name, &value, &length) == 0 && value == expected;
}

bool isPeerOurs(int socket) {
  ucred peer{};
  socklen_t length = sizeof peer;
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) return false;
  // SECURITY: another user would read our crash reports, or have us keep theirs.
  return peer.uid == ::geteuid();
}

/// A connection attempt, and later each send, waits at most so long.
bool setSendLimit(int socket, std::chrono::milliseconds limit) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(limit);
  const timeval time{.tv_sec = seconds.count(),
                     .tv_usec = std::chrono::microseconds(limit - seconds).count()};
  return ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time) == 0;
}

/// Non-blocking, connect(2) would fail at once while the listener's queue is full.
bool connectUntil(int socket, const sockaddr_un& address, const Deadline& deadline) {
  for (;;) {
    const auto left = deadline.timeLeft();
    // A limit of 0 is none.
    if (left == left.zero() || !setSendLimit(socket, left)) return false;
    if (applyTo(socket, address, ::connect)) return true;
    if (errno != EINTR) return false;
  }
}

/// Absent when nothing has come.
std::optional<std::size_t> receive(int socket, std::array<char, blockSize>& block) {
  const ssize_t length = ::recv(socket, block.data(), block.size(), MSG_DONTWAIT);
  if (length >= 0) return static_cast<std::size_t>(length);
  // Any other failure is the end of the connection.
  return errno == EAGAIN || errno == EINTR ? std::nullopt : std::optional<std::size_t>(0);
}

}  // namespace

UniqueFd openLocalSocket() { return UniqueFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)); }

std::unique_ptr<RunLoopSocket> RunLoopSocket::wrapped(UniqueFd socket) {
  if (!hasOption(socket.get(), SO_DOMAIN, AF_UNIX) || !hasOption(socket.get(), SO_TYPE, SOCK_STREAM)) {
    return nullptr;
  }
  return std::unique_ptr<RunLoopSocket>(new RunLoopSocket(std::move(socket)));
}

std::unique_ptr<RunLoopSocket> RunLoopSocket::forAccepting(UniqueFd socket, AcceptCallback accept) {
  // A connection may be gone again before it is accepted.
  if (!makeNonBlocking(socket.get())) return nullptr;
  auto made = wrapped(std::move(socket));
  if (!made) return nullptr;
  made->onReady_ = [self = made.get(), accept = std::move(accept)] {
    if (UniqueFd connection = self->nextConnection()) accept(std::move(connection));
  };
  return made;
}

std::unique_ptr<RunLoopSocket> RunLoopSocket::forData(UniqueFd socket, DataCallback receive) {
  auto made = wrapped(std::move(socket));
  if (!made) return nullptr;
  made->onReady_ = [fd = made->descriptor(), receive = std::move(receive)] {
    std::array<char, blockSize> block;
    if (const auto length = platform::receive(fd, block)) receive({block.data(), *length});
  };
  return made;
}

bool RunLoopSocket::listenAt(const std::string& path) {
  const auto address = addressOf(path);
  if (!address || !applyTo(socket_.get(), *address, ::bind)) return false;
  // Whatever the umask gave or took.
  if (::chmod(path.c_str(), S_IRUSR | S_IWUSR) == 0 && ::listen(socket_.get(), SOMAXCONN) == 0) return true;
  ::unlink(path.c_str());
  return false;
}

bool RunLoopSocket::connectTo(const std::string& path, std::chrono::milliseconds limit) {
  const auto address = addressOf(path);
  return address && connectUntil(socket_.get(), *address, Deadline(limit)) && isPeerOurs(socket_.get()) &&
         setSendLimit(socket_.get(), limit);
}

void RunLoopSocket::addTo(RunLoop& loop) { source_ = loop.add(socket_.get(), onReady_); }

void RunLoopSocket::resumeAccepting() {
  if (source_) source_->resume();
  isPaused_ = false;
}

bool RunLoopSocket::hasInput() const {
  pollfd request{.fd = socket_.get(), .events = POLLIN, .revents = 0};
  return pollUntil({&request, 1}, Deadline(std::chrono::milliseconds(0)));
}

void RunLoopSocket::invalidate() {
  source_.reset();
  socket_.reset();
}

UniqueFd RunLoopSocket::nextConnection() {
  UniqueFd connection(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (connection) return isPeerOurs(connection.get()) ? std::move(connection) : UniqueFd();
  if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) return {};
  // Out of descriptors or memory, the socket stays ready, and trying again at once would never end.
  source_->pause();
  isPaused_ = true;
  RunLoop::current()->stop();
  return {};
}

std::optional<bool> isListening(const std::string& path) {
  const auto address = addressOf(path);
  const UniqueFd probe = openLocalSocket();
  if (!address || !probe || !makeNonBlocking(probe.get())) return std::nullopt;
  if (applyTo(probe.get(), *address, ::connect) || errno == EAGAIN) return true;
  return errno == ECONNREFUSED ? std::optional(false) : std::nullopt;
}

}  // namespace quelto::platform
