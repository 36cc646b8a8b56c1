#include "platform/run_loop/run_loop.h"

#include <sys/epoll.h>

#include <array>
#include <cerrno>

namespace quelto::platform {

std::shared_ptr<RunLoop> RunLoop::current() {
  thread_local const auto loop = std::make_shared<RunLoop>();
  return loop;
}

std::unique_ptr<RunLoop::Source> RunLoop::add(int fd, Callback callback) {
  const std::uint64_t id = ++lastId_;
  entries_.emplace(id, Entry{.fd = fd, .callback = std::make_shared<const Callback>(std::move(callback))});
  isAnyWanted_ = true;
  return std::unique_ptr<Source>(new Source(shared_from_this(), id));
}

void RunLoop::remove(std::uint64_t id) {
  const auto entry = entries_.find(id);
  unwatch(entry->second);
  entries_.erase(entry);
}

void RunLoop::pause(std::uint64_t id) {
  Entry& entry = entries_.at(id);
  unwatch(entry);
  entry.watch = Watch::paused;
}

void RunLoop::resume(std::uint64_t id) {
  Entry& entry = entries_.at(id);
  if (entry.watch != Watch::paused) return;
  entry.watch = Watch::wanted;
  isAnyWanted_ = true;
}

void RunLoop::unwatch(const Entry& entry) const {
  if (entry.watch == Watch::done) ::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, entry.fd, nullptr);
}

bool RunLoop::watchAll() {
  if (!epoll_) epoll_ = UniqueFd(::epoll_create1(EPOLL_CLOEXEC));
  if (!epoll_) return false;
  if (!isAnyWanted_) return true;
  for (auto& [id, entry] : entries_) {
    if (entry.watch != Watch::wanted) continue;
    epoll_event event{.events = EPOLLIN, .data = {.u64 = id}};
    if (::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, entry.fd, &event) != 0) return false;
    entry.watch = Watch::done;
  }
  isAnyWanted_ = false;
  return true;
}

void RunLoop::serve(std::uint64_t id) {
  const auto entry = entries_.find(id);
  // An earlier callback of the same round may have paused it or taken it out.
  if (entry == entries_.end() || entry->second.watch != Watch::done) return;
  const auto callback = entry->second.callback;
  (*callback)();
}

bool RunLoop::runUntil(const Deadline& deadline) {
  isStopped_ = false;
  do {
    if (!watchAll()) return false;
    std::array<epoll_event, 64> ready;
    const int count =
        ::epoll_wait(epoll_.get(), ready.data(), static_cast<int>(ready.size()), deadline.pollTimeout());
    if (count < 0 && errno != EINTR) return false;
    for (int event = 0; event < count && !isStopped_; ++event) {
      serve(ready[static_cast<std::size_t>(event)].data.u64);
    }
  } while (!isStopped_ && !deadline.isOver());
  return true;
}

}  // namespace quelto::platform
