#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "crash/socket_comm.h"
#include "platform/files/unique_fd.h"

namespace quelto::crash {

enum class SocketClientStatus { unknown = 0, linked = 1, disconnected = 2, linking = 3, disconnecting = 4 };

class SocketClient;

/// What becomes of a client, told on the thread that it belongs to. Any of these may release the client.
class SocketClientDelegate {
 public:
  SocketClientDelegate() = default;
  SocketClientDelegate(const SocketClientDelegate&) = delete;
  SocketClientDelegate& operator=(const SocketClientDelegate&) = delete;

  virtual void stateChanged(SocketClient& client, SocketClientStatus newState) = 0;
  /// The socket was closed, if there was one.
  virtual void disconnect(SocketClient& client) = 0;
  /// What one read delivered, valid for the call, unless it is an archived text.
  virtual void dataReceived(SocketClient& client, std::string_view data) = 0;
  virtual void textReceived(SocketClient& client, const std::string& text) = 0;

 protected:
  ~SocketClientDelegate() = default;
};

/// One end of a connection: one that we make to a server, or one that a server has accepted.
///
/// Its state: disconnected -> linking -> linked, which lasts until `stop` or until the other side hangs up,
/// and disconnecting -> disconnected then. Each is told to the delegate, and `disconnect` between the last
/// two.
class SocketClient final : public SocketComm, public std::enable_shared_from_this<SocketClient> {
 public:
  /// One that is to connect to the socket at a path.
  [[nodiscard]] static std::shared_ptr<SocketClient> make(std::string sockUrl);
  /// One for an accepted connection, linked and in the run loop of this thread; disconnected, with the
  /// descriptor closed, when it is no local stream socket.
  [[nodiscard]] static std::shared_ptr<SocketClient> make(platform::UniqueFd handle);

  ~SocketClient() = default;

  [[nodiscard]] SocketClientStatus state() const { return state_; }

  /// Borrowed: whoever sets it sets null before it goes.
  void setDelegate(SocketClientDelegate* delegate) { delegate_ = delegate; }

  /// Connects, and adds the client to the run loop of this thread. False, and disconnected, when nobody of
  /// ours listens there within `socketTimeout` or the folder is not ours alone. True when it is linked
  /// already.
  bool start();

  /// Closes the connection. Always true.
  bool stop();

  /// The connection's descriptor while the client is linked, else -1. Only borrowed: `stop` closes it. On any
  /// thread; signal-safe.
  [[nodiscard]] int descriptor() const noexcept { return descriptor_.load(std::memory_order_acquire); }

 private:
  explicit SocketClient(std::optional<std::string> sockUrl) : SocketComm(std::move(sockUrl)) {}

  [[nodiscard]] bool clientCreate(platform::UniqueFd sock);
  [[nodiscard]] bool clientBind();
  void setState(SocketClientStatus newState);
  void link();
  void received(std::string_view block);
  void dataReceived(std::string_view data);

  SocketClientStatus state_ = SocketClientStatus::unknown;
  SocketClientDelegate* delegate_ = nullptr;
  std::atomic<int> descriptor_ = -1;
  static_assert(std::atomic<int>::is_always_lock_free);
};

}  // namespace quelto::crash
