#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>
#include <utility>

#include "tests/support/keyring_surroundings.h"

namespace quelto::test {

/// The kinds of session that a user has on one machine.
enum class Session {
  /// With a bus and a keyring that is open.
  desktop,
  /// With neither.
  server,
};
inline std::ostream& operator<<(std::ostream& out, Session session) {
  return out << (session == Session::desktop ? "desktop" : "server");
}
inline constexpr Session allSessions[] = {Session::desktop, Session::server};

/// A user with an empty home, who is in one session at a time; this process's environment follows.
class User {
 public:
  explicit User(Session session) : bus_(environment("DBUS_SESSION_BUS_ADDRESS")) { enter(session); }

  void enter(Session session) {
    const bool isDesktop = session == Session::desktop;
    around_.set("DBUS_SESSION_BUS_ADDRESS", isDesktop ? std::optional(bus_) : std::nullopt);
    around_.set("XDG_RUNTIME_DIR", around_.path(isDesktop ? "run" : "home"));
    if (isDesktop && !std::exchange(hasKeyring_, true)) around_.startKeyring();
  }

  [[nodiscard]] KeyringSurroundings& around() { return around_; }
  /// What is kept for the user.
  [[nodiscard]] std::string data(const std::string& name = "") const {
    return around_.path("home/.local/share/quelto" + (name.empty() ? "" : "/" + name));
  }

 private:
  static std::string environment(const char* name) { return std::getenv(name); }

  KeyringSurroundings around_;
  std::string bus_;
  bool hasKeyring_ = false;
};

/// A test that is run once in each kind of session, on the two stores of the keychain.
class InSession : public testing::TestWithParam<Session> {
 protected:
  User user_{GetParam()};
};
inline const auto everySession = testing::ValuesIn(allSessions);

}  // namespace quelto::test
