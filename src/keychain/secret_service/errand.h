#pragma once

#include <gio/gio.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

#include "keychain/os_status.h"
#include "keychain/secret_service/glib_owners.h"
#include "platform/secrets/secret.h"

namespace quelto::keychain {

/// One call, carried out on a thread of its own, whose caller leaves at the deadline whatever that thread is
/// waiting for. Nothing of the work is cancelled then, save the connecting to a bus: a keyring daemon whose
/// prompt is cancelled while another one waits can abort. The thread goes on alone and ends with what it
/// waits for, so it owns all that it uses, save the secret, which leaves with the caller; whatever it does
/// next must see that its time is over.
class Errand {
 public:
  using Work = std::function<OSStatus(Errand&)>;
  struct Ending {
    OSStatus status;
    /// What the work has made of the secret that it was given.
    platform::Secret secret;
  };

  /// Runs the work and returns its status, or, once the limit has passed, `errSecInteractionNotAllowed` while
  /// the person is being asked and `errSecNotAvailable` otherwise. `errSecIO` when there is no thread to be
  /// had or the work throws.
  [[nodiscard]] static Ending run(std::chrono::milliseconds limit, Work work, platform::Secret secret = {});

  Errand(std::chrono::milliseconds limit, platform::Secret secret);

  /// Lets `use` read or replace the call's secret; false, without that, when the caller has left. The caller
  /// cannot leave meanwhile: `use` waits for nothing, and copies only into memory that is wiped at its end.
  [[nodiscard]] bool useSecret(const std::function<void(platform::Secret&)>& use);

  /// What is left until the caller leaves; 0 from then on.
  [[nodiscard]] std::chrono::milliseconds timeLeft() const;

  /// Cancelled when the caller leaves. For connecting only.
  [[nodiscard]] GCancellable* untilDeadline() const { return untilDeadline_.get(); }

  /// Whether the work waits for the person.
  void setAsking(bool isAsking);

 private:
  using Clock = std::chrono::steady_clock;

  void finish(OSStatus status);
  [[nodiscard]] Ending wait();

  const Clock::time_point deadline_;
  const ObjectOwner<GCancellable> untilDeadline_;
  std::mutex mutex_;
  std::condition_variable finished_;
  std::optional<OSStatus> status_;
  bool isAsking_ = false;
  bool hasCallerLeft_ = false;
  platform::Secret secret_;
};

}  // namespace quelto::keychain
