#include "platform/signals/system_calls_signal.h"

#include <poll.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace quelto::platform {
namespace {

using std::chrono::nanoseconds;
using Clock = std::chrono::steady_clock;

timespec asTimespec(nanoseconds time) {
  const auto whole = std::chrono::floor<std::chrono::seconds>(time);
  return {.tv_sec = whole.count(), .tv_nsec = (time - whole).count()};
}

/// Whether the socket takes more bytes within the time.
bool waitForRoom(int socket, nanoseconds time) {
  pollfd request{.fd = socket, .events = POLLOUT, .revents = 0};
  const auto limit = std::chrono::ceil<std::chrono::milliseconds>(time).count();
  const int ready = ::poll(&request, 1, static_cast<int>(limit));
  return ready > 0 || (ready < 0 && errno == EINTR);
}

}  // namespace

bool sendWithin(int socket, std::string_view bytes, nanoseconds& timeLeft) noexcept {
  const auto end = Clock::now() + timeLeft;
  while (!bytes.empty() && timeLeft > nanoseconds::zero()) {
    const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0) bytes.remove_prefix(static_cast<std::size_t>(sent));
    if (sent < 0 && errno != EINTR && (errno != EAGAIN || !waitForRoom(socket, timeLeft))) return false;
    timeLeft = end - Clock::now();
  }
  return bytes.empty();
}

void sleepFor(nanoseconds time) noexcept {
  // What is left after a signal includes the system's timer slack, and would grow from signal to signal.
  const timespec end = asTimespec(Clock::now().time_since_epoch() + time);
  while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
  }
}

void fillWithRandomBytes(std::span<std::uint8_t> bytes) noexcept {
  if (::getrandom(bytes.data(), bytes.size(), GRND_NONBLOCK) == static_cast<ssize_t>(bytes.size())) return;
  auto bits = static_cast<std::uint64_t>(Clock::now().time_since_epoch().count()) * 0x9E3779B97F4A7C15U ^
              static_cast<std::uint64_t>(::getpid());
  for (std::uint8_t& byte : bytes) {
    byte = static_cast<std::uint8_t>(bits >> 56);
    bits = bits * 6364136223846793005U + 1442695040888963407U;
  }
}

int threadNumber() noexcept { return ::gettid(); }

void waitForProcessEnd() noexcept {
  for (;;) ::pause();
}

}  // namespace quelto::platform
