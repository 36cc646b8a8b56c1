#pragma once

#include <gio/gio.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "keychain/os_status.h"
#include "keychain/secret_service/glib_owners.h"
#include "platform/secrets/secret.h"
#include "platform/threads/deadline.h"

namespace quelto::keychain {

/// One call that is carried out on a thread of its own, so that its caller can leave at the deadline whatever
/// the thread is waiting for. The thread is then on its own and ends with what it waits for: no request is
/// cancelled, since a keyring daemon whose prompt is cancelled while another one waits can abort. It owns all
/// that it uses but the secrets, which leave with the caller.
class TimedCall {
 public:
  using Secrets = std::vector<platform::Secret>;
  using Work = std::function<OSStatus(TimedCall&)>;
  struct Result {
    OSStatus status;
    /// What the work has made of the secrets that it was given.
    Secrets secrets;
  };

  /// Runs the work and returns its status, or, once the limit has passed, `errSecInteractionNotAllowed` while
  /// the person is being asked and `errSecNotAvailable` otherwise. `errSecIO` when no thread can be started
  /// or the work throws.
  [[nodiscard]] static Result run(std::chrono::milliseconds limit, Secrets secrets, Work work);

  /// The limit begins now. For `run` alone, which starts the thread.
  TimedCall(std::chrono::milliseconds limit, Secrets secrets);

  /// When the caller leaves.
  [[nodiscard]] const platform::Deadline& deadline() const { return deadline_; }

  /// Cancelled when the caller leaves. For connecting to a bus, which has no time limit of its own.
  [[nodiscard]] GCancellable* cancelledAtDeadline() const { return cancelledAtDeadline_.get(); }

  /// Lets `use` read or replace the secrets; false, without that, when the caller has left. The caller cannot
  /// leave meanwhile, so `use` must not wait; it copies only into memory that is wiped when it returns.
  [[nodiscard]] bool useSecrets(const std::function<void(Secrets&)>& use);

  /// Whether the work waits for the person. For the call's thread.
  void setAsking(bool isAsking);

 private:
  void finish(OSStatus status);
  [[nodiscard]] Result wait();

  const platform::Deadline deadline_;
  const ObjectOwner<GCancellable> cancelledAtDeadline_;
  std::mutex mutex_;
  std::condition_variable finished_;
  std::optional<OSStatus> status_;
  bool isAsking_ = false;
  bool hasCallerLeft_ = false;
  Secrets secrets_;
};

}  // namespace quelto::keychain
