#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files/unique_fd.h"
#include "platform/run_loop/run_loop.h"

namespace quelto::platform {

/// A new Unix-domain stream socket, blocking; empty when the process or the system is out of descriptors.
[[nodiscard]] UniqueFd openLocalSocket();

/// A Unix-domain stream socket that calls back on the thread of the run loop it was added to, while that loop
/// runs. Only the effective user's own processes are spoken to. A callback may invalidate or destroy the
/// object. One thread.
///
/// Paths are absolute and have 103 bytes at most, as on systems with the shortest addresses; any other fails,
/// as does one with NUL.
class RunLoopSocket {
 public:
  using AcceptCallback = std::function<void(UniqueFd connection)>;
  /// What one read delivered, valid for the call; empty once the other side is gone.
  using DataCallback = std::function<void(std::string_view block)>;

  static constexpr std::size_t maximumPathLength = 103;

  /// Null, with the descriptor closed, when it is no such socket.
  [[nodiscard]] static std::unique_ptr<RunLoopSocket> forAccepting(UniqueFd socket, AcceptCallback accept);
  [[nodiscard]] static std::unique_ptr<RunLoopSocket> forData(UniqueFd socket, DataCallback receive);

  ~RunLoopSocket() { invalidate(); }
  RunLoopSocket(const RunLoopSocket&) = delete;
  RunLoopSocket& operator=(const RunLoopSocket&) = delete;

  /// Binds to a path where nothing is, which gets mode 0600, and listens. Nothing is left there on failure.
  [[nodiscard]] bool listenAt(const std::string& path);

  /// Connects, waiting while the listener's queue is full. No send on the socket waits longer than the same
  /// limit from then on.
  [[nodiscard]] bool connectTo(const std::string& path, std::chrono::milliseconds limit);

  /// From now on the loop calls back.
  void addTo(RunLoop& loop);

  /// A listener that runs out of descriptors or memory pauses, and lets the loop's `runUntil` return.
  /// Connections wait in its queue until this is called, once some may have become free.
  void resumeAccepting();
  [[nodiscard]] bool isPaused() const noexcept { return isPaused_; }

  /// Whether a call is due, because something has come or the other side is gone.
  [[nodiscard]] bool hasInput() const;

  /// Ends the callbacks, leaves the loop and closes the descriptor.
  void invalidate();

  /// Still owned here; -1 once invalidated.
  [[nodiscard]] int descriptor() const noexcept { return socket_.get(); }

 private:
  explicit RunLoopSocket(UniqueFd socket) : socket_(std::move(socket)) {}
  [[nodiscard]] static std::unique_ptr<RunLoopSocket> wrapped(UniqueFd socket);
  [[nodiscard]] UniqueFd nextConnection();

  UniqueFd socket_;
  /// Holds what the owner handed in, so that both live through a call that destroys this object.
  RunLoop::Callback onReady_;
  std::unique_ptr<RunLoop::Source> source_;
  bool isPaused_ = false;
};

/// Whether somebody listens at a path. Absent when the system does not tell.
[[nodiscard]] std::optional<bool> isListening(const std::string& path);

}  // namespace quelto::platform
