#include "keychain/secret_service/prompt.h"

#include <atomic>

#include "platform/user/environment.h"

namespace quelto::keychain {
namespace {

bool isSet(const char* name) { return !platform::environmentValue(name).value_or("").empty(); }

/// The right to show a dialog, of which this process shows one at a time.
class DialogTurn {
 public:
  DialogTurn() : isOurs_(!isTaken_.exchange(true)) {}
  ~DialogTurn() {
    if (isOurs_) isTaken_.store(false);
  }
  DialogTurn(const DialogTurn&) = delete;
  DialogTurn& operator=(const DialogTurn&) = delete;
  [[nodiscard]] bool isOurs() const { return isOurs_; }

 private:
  static inline constinit std::atomic<bool> isTaken_{false};
  bool isOurs_;
};

/// Tells the call that the person is being asked.
class Asking {
 public:
  explicit Asking(TimedCall& call) : call_(call) { call_.setAsking(true); }
  ~Asking() { call_.setAsking(false); }
  Asking(const Asking&) = delete;
  Asking& operator=(const Asking&) = delete;

 private:
  TimedCall& call_;
};

}  // namespace

Answer showPrompt(KeyringService& keyring, TimedCall& call, const std::string& prompt) {
  if (prompt == noPath) return {.outcome = Outcome::done, .value = nullptr};
  // The dialog appears where the daemon runs; a person without a display would never see it.
  if (!isSet("WAYLAND_DISPLAY") && !isSet("DISPLAY")) return {.outcome = Outcome::lockedWithoutDisplay};
  const DialogTurn turn;
  if (!turn.isOurs()) return {.outcome = Outcome::locked, .value = nullptr};
  const AwaitedSignal completed(keyring.bus(), {.sender = keyring.daemon().c_str(),
                                                .path = prompt.c_str(),
                                                .interface = promptInterface,
                                                .name = "Completed",
                                                .firstArgument = nullptr});
  const AwaitedSignal vanished(keyring.bus(), "NameOwnerChanged", keyring.daemon().c_str());
  const Asking asking(call);
  const auto never = platform::Deadline::never();
  Answer answer = keyring.ask({.path = prompt,
                               .interface = promptInterface,
                               .method = "Prompt",
                               .arguments = owned(g_variant_new("(s)", "")),
                               .answerType = "()"},
                              never);
  // It is the dialog that is missing here, not what it was to be about.
  if (answer.outcome == Outcome::noSuchObject) answer.outcome = Outcome::failed;
  if (answer.outcome != Outcome::done) return answer;
  const auto isOver = [&] { return completed.hasArrived() || vanished.hasArrived(); };
  if (!keyring.bus().waitUntil(isOver, never) || !completed.hasArrived())
    return {.outcome = Outcome::noAnswer, .value = nullptr};
  if (!g_variant_is_of_type(completed.arguments().get(), G_VARIANT_TYPE("(bv)")))
    return {.outcome = Outcome::failed, .value = nullptr};
  const bool isDismissed = g_variant_get_boolean(childOf(completed.arguments(), 0).get()) != FALSE;
  if (isDismissed) return {.outcome = Outcome::locked, .value = nullptr};
  return {.outcome = Outcome::done,
          .value = VariantOwner(g_variant_get_variant(childOf(completed.arguments(), 1).get()))};
}

}  // namespace quelto::keychain
