#include "keychain/embedded/deadline.h"

#include <unistd.h>

#include <thread>

namespace quelto::keychain::embedded {

Deadline::Deadline(std::chrono::milliseconds limit)
    : time_(Clock::now() + limit),
      random_(static_cast<std::minstd_rand::result_type>(time_.time_since_epoch().count() ^ ::getpid())) {}

bool Deadline::pause() noexcept {
  if (isOver()) return false;
  std::this_thread::sleep_for(std::chrono::microseconds(500 + random_() % 1000));
  return true;
}

}  // namespace quelto::keychain::embedded
