#pragma once

#include <optional>
#include <string>

namespace quelto::keychain {

/// Where the session bus is, as a D-Bus server address, which may list several transports: what
/// DBUS_SESSION_BUS_ADDRESS says at this moment, without the transports that would launch a bus, else the
/// socket `bus` in XDG_RUNTIME_DIR, if nobody but this user can write to that. Absent when there is neither.
/// GLib's own search is not used, since it ends in launching a bus. Thread-safe.
[[nodiscard]] std::optional<std::string> sessionBusAddress();

}  // namespace quelto::keychain
