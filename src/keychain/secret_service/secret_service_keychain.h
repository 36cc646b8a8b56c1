#pragma once

#include "keychain/item_store.h"

namespace quelto::platform::keychain {

enum class SecretServiceState {
  /// No session bus is known here, or its keyring service is neither running nor to be started.
  absent,
  /// The bus answers, and the service is running or can be started. Whether it is locked is not asked.
  present,
  /// A bus is named by the environment, but cannot be reached or does not answer within 1.5 seconds.
  unreachable,
};

}  // namespace quelto::platform::keychain

/// The module's entries.
///
/// Both take the session bus from DBUS_SESSION_BUS_ADDRESS, else the socket `bus` in XDG_RUNTIME_DIR, as the
/// environment says at that moment. No bus is ever launched. Both are thread-safe and throw nothing. The
/// first call of either silences GLib's messages in this process and leaves the disposition of SIGPIPE, which
/// GIO would change, as it was.

/// The desktop's keyring (freedesktop.org Secret Service API), which lives as long as the process. Nothing is
/// connected before its first use. Readable attributes and labels stand in the keyring as they are, under
/// their own names; the class is the attribute "class" with one of the values "org.quelto.genericPassword",
/// "org.quelto.internetPassword" and "org.quelto.key". Items are added to the default collection, found in
/// all. A locked collection that a call needs is asked to open once, with a dialog where there is a display;
/// a dialog that is still up at the call's end stays up, and no second one is shown meanwhile.
extern "C" [[gnu::visibility("default")]] quelto::platform::keychain::ItemStore* queltoOpenSecretService();

/// Asks the bus alone; starts nothing.
extern "C" [[gnu::visibility("default")]] quelto::platform::keychain::SecretServiceState
queltoSecretServiceState();
