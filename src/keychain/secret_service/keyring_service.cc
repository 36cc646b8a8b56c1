#include "keychain/secret_service/keyring_service.h"

namespace quelto::keychain {
namespace {

constexpr const char* serviceName = "org.freedesktop.secrets";

}  // namespace

Outcome KeyringService::findOwner(const platform::Deadline& deadline) {
  const Answer answer = bus_->askBus("GetNameOwner", g_variant_new("(s)", serviceName), "(s)", deadline);
  if (answer.outcome == Outcome::done) daemon_ = textOf(answer.value, 0);
  return answer.outcome;
}

Outcome KeyringService::findDaemon(const TimedCall& call) {
  if (bus_ == nullptr) bus_ = BusConnection::open(address_, call.cancelledAtDeadline());
  if (bus_ == nullptr) return Outcome::noAnswer;
  const platform::Deadline& deadline = call.deadline();
  const Outcome outcome = findOwner(deadline);
  if (outcome != Outcome::noOwner) return outcome;
  const Answer started =
      bus_->askBus("StartServiceByName", g_variant_new("(su)", serviceName, guint32{0}), "(u)", deadline);
  return started.outcome == Outcome::done ? findOwner(deadline) : started.outcome;
}

}  // namespace quelto::keychain
