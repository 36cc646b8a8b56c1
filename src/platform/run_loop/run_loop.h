#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "platform/files/unique_fd.h"
#include "platform/threads/deadline.h"

namespace quelto::platform {

/// Waits for descriptors and calls back while they are ready (epoll(7), level-triggered). One per thread,
/// which alone uses it and its sources. Nothing is opened before the loop first runs.
class RunLoop : public std::enable_shared_from_this<RunLoop> {
 public:
  using Callback = std::function<void()>;

  /// The loop of the calling thread, made on first use; it lives as long as the thread or anybody who holds
  /// it.
  [[nodiscard]] static std::shared_ptr<RunLoop> current();

  RunLoop() = default;
  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;

  /// A descriptor's place in a loop. The destructor takes it out, before the descriptor is closed. A callback
  /// may do that to its own source or to any other, which is then not called any more.
  class Source {
   public:
    ~Source() { loop_->remove(id_); }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    /// A source that is paused is not called and costs nothing until it is resumed.
    void pause() { loop_->pause(id_); }
    void resume() { loop_->resume(id_); }

   private:
    friend RunLoop;
    Source(std::shared_ptr<RunLoop> loop, std::uint64_t id) : loop_(std::move(loop)), id_(id) {}

    std::shared_ptr<RunLoop> loop_;
    std::uint64_t id_;
  };

  /// Calls back as long as the descriptor can be read, is at its end or has failed. It is borrowed for the
  /// source's life and has one source at most.
  [[nodiscard]] std::unique_ptr<Source> add(int fd, Callback callback);

  /// Serves the sources until `stop` or the deadline; what is ready at the call also when that is over. Not
  /// from a callback. False at once when the system has no descriptor or memory left to watch them with: to
  /// be called again later.
  [[nodiscard]] bool runUntil(const Deadline& deadline);

  /// Lets `runUntil` return after the callback that calls this.
  void stop() noexcept { isStopped_ = true; }

 private:
  enum class Watch { wanted, done, paused };
  struct Entry {
    int fd;
    /// Held for a call, which may take its own source out.
    std::shared_ptr<const Callback> callback;
    Watch watch = Watch::wanted;
  };

  void remove(std::uint64_t id);
  void pause(std::uint64_t id);
  void resume(std::uint64_t id);
  void unwatch(const Entry& entry) const;
  [[nodiscard]] bool watchAll();
  void serve(std::uint64_t id);

  /// By a number that is never used again: a descriptor's number may be, between its event and its turn.
  std::map<std::uint64_t, Entry> entries_;
  std::uint64_t lastId_ = 0;
  UniqueFd epoll_;
  bool isAnyWanted_ = false;
  bool isStopped_ = false;
};

}  // namespace quelto::platform
