#pragma once

#include <gio/gio.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

#include "platform/keychain/os_status.h"
#include "platform/keychain/secret_service/glib_owners.h"

namespace quelto::platform::keychain {

/// One call, carried out on a thread of its own, whose caller leaves at the deadline whatever that thread is
/// waiting for. Nothing of the work is cancelled then, save the connecting to a bus: a keyring daemon whose
/// prompt is cancelled while another one waits can abort. The thread goes on alone and ends with what it
/// waits for, so it owns all that it uses; whatever it does next must see that its time is over.
class Errand {
 public:
  /// Runs the work and returns its status, or, once the limit has passed, `errSecInteractionNotAllowed` while
  /// the person is being asked and `errSecNotAvailable` otherwise. `errSecIO` when there is no thread to be
  /// had or the work throws.
  [[nodiscard]] static OSStatus run(std::chrono::milliseconds limit, std::function<OSStatus(Errand&)> work);

  explicit Errand(std::chrono::milliseconds limit);

  /// What is left until the caller leaves; 0 from then on.
  [[nodiscard]] std::chrono::milliseconds timeLeft() const;

  /// Cancelled when the caller leaves. For connecting only.
  [[nodiscard]] GCancellable* untilDeadline() const { return untilDeadline_.get(); }

  /// Whether the work waits for the person.
  void setAsking(bool isAsking);

 private:
  using Clock = std::chrono::steady_clock;

  void finish(OSStatus status);
  [[nodiscard]] OSStatus wait();

  const Clock::time_point deadline_;
  const ObjectOwner<GCancellable> untilDeadline_;
  std::mutex mutex_;
  std::condition_variable finished_;
  std::optional<OSStatus> status_;
  bool isAsking_ = false;
};

}  // namespace quelto::platform::keychain
