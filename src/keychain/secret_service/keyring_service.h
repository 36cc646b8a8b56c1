#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "keychain/secret_service/bus_connection.h"
#include "keychain/secret_service/timed_call.h"

namespace quelto::keychain {

inline constexpr const char* servicePath = "/org/freedesktop/secrets";
inline constexpr const char* serviceInterface = "org.freedesktop.Secret.Service";
inline constexpr const char* collectionInterface = "org.freedesktop.Secret.Collection";
inline constexpr const char* itemInterface = "org.freedesktop.Secret.Item";
inline constexpr const char* promptInterface = "org.freedesktop.Secret.Prompt";
/// What the service says instead of a path when there is none.
inline constexpr const char* noPath = "/";

/// The keyring daemon that provides the Secret Service on a bus. Requests go to the daemon's own name on the
/// bus, so that no other daemon gets what was meant for one that has died. One thread at a time.
class KeyringService {
 public:
  /// On the bus at this D-Bus server address.
  explicit KeyringService(std::string address) : address_(std::move(address)) {}

  [[nodiscard]] const std::string& address() const { return address_; }

  /// Connects to the bus, if that is not done, and finds the daemon that runs now, or has the bus start one;
  /// to be called first in every call. `noOwner` or `refused` when there is none and the bus knows none, or
  /// cannot start it; `noAnswer` when there is no bus or one that does not answer.
  [[nodiscard]] Outcome findDaemon(const TimedCall& call);

  /// The daemon's own name, which the bus gives to no other connection.
  [[nodiscard]] const std::string& daemon() const { return daemon_; }

  /// Ask that daemon, as `BusConnection` does; once it is found.
  [[nodiscard]] Answer ask(Request request, const platform::Deadline& deadline) {
    return bus_->ask(daemon_.c_str(), std::move(request), deadline);
  }
  [[nodiscard]] std::vector<Answer> askAll(const std::vector<Request>& requests,
                                           const platform::Deadline& deadline) {
    return bus_->askAll(daemon_.c_str(), requests, deadline);
  }

  /// Once the daemon is found.
  [[nodiscard]] BusConnection& bus() { return *bus_; }

 private:
  [[nodiscard]] Outcome findOwner(const platform::Deadline& deadline);

  const std::string address_;
  std::unique_ptr<BusConnection> bus_;
  std::string daemon_;
};

}  // namespace quelto::keychain
