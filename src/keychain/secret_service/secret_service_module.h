#pragma once

#include "keychain/item_store.h"

namespace quelto::keychain {

/// Whether the desktop's keyring can keep a first item in this session.
enum class KeyringState {
  /// Its default collection is open.
  open,
  /// Nobody can open it from here: there is no session bus, no keyring service or none that the bus can
  /// start, it has no default collection that is kept on disk, or that is locked and there is no display to
  /// ask on.
  notHere,
  /// It is locked, and the person was asked and did not open it.
  leftLocked,
  /// A bus is named by the environment, but it or the service cannot be reached or does not answer in time.
  noAnswer,
};

}  // namespace quelto::keychain

/// The module's entries. Both are thread-safe and throw nothing. The first call of either silences GLib's
/// messages in this process and leaves the disposition of SIGPIPE, which GIO would change, as it was.

/// The desktop's keyring (freedesktop.org Secret Service API), which lives as long as the process. Nothing is
/// connected before its first use. The session bus is the one that DBUS_SESSION_BUS_ADDRESS names, else the
/// socket `bus` in XDG_RUNTIME_DIR; none is ever launched. Attributes and labels that are text are stored as
/// they are, under their own names; the class is the attribute "class" with one of the values
/// "org.quelto.genericPassword", "org.quelto.internetPassword" and "org.quelto.key". Items are added to the
/// default collection and found in all. A locked collection that a call needs is asked to open once, with a
/// dialog where there is a display; a dialog that is still up at the call's end stays up, and no second one
/// is shown meanwhile.
extern "C" [[gnu::visibility("default")]] quelto::keychain::ItemStore* queltoSecretServiceStore();

/// Opens the default collection if it is locked, as a call of the store does, and tells how that ended.
/// Starts the service when the bus can. Ends within 4 seconds.
extern "C" [[gnu::visibility("default")]] quelto::keychain::KeyringState queltoOpenKeyring();
