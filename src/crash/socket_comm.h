#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "platform/run_loop/run_loop_socket.h"

namespace quelto::crash {

/// What both endpoints of a local connection have. They belong to the thread that starts them, whose run loop
/// calls them back.
class SocketComm {
 public:
  SocketComm(const SocketComm&) = delete;
  SocketComm& operator=(const SocketComm&) = delete;

  /// How long connecting, and each send after it, may wait.
  std::chrono::milliseconds socketTimeout{5000};

  /// Null when not open.
  [[nodiscard]] const platform::RunLoopSocket* sockRef() const { return sockRef_.get(); }
  /// The path of the socket; absent for a connection that a server accepted.
  [[nodiscard]] const std::optional<std::string>& sockUrl() const { return sockUrl_; }

 protected:
  explicit SocketComm(std::optional<std::string> sockUrl) : sockUrl_(std::move(sockUrl)) {}
  ~SocketComm() = default;

  std::unique_ptr<platform::RunLoopSocket> sockRef_;

 private:
  std::optional<std::string> sockUrl_;
};

/// The status with a raw value; absent for 5 and more, which are none.
template <typename Status>
[[nodiscard]] constexpr std::optional<Status> statusFromRawValue(unsigned rawValue) {
  return rawValue < 5 ? std::optional(static_cast<Status>(rawValue)) : std::nullopt;
}

}  // namespace quelto::crash
