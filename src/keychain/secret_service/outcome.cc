#include "keychain/secret_service/outcome.h"

#include "keychain/secret_service/glib_owners.h"

namespace quelto::keychain {

OSStatus statusOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::done:
      return errSecSuccess;
    case Outcome::locked:
      return errSecInteractionNotAllowed;
    case Outcome::unavailable:
      return errSecNotAvailable;
    case Outcome::gone:
    case Outcome::broken:
      break;
  }
  return errSecIO;
}

Outcome outcomeOf(const GError& error) {
  if (error.domain == SECRET_ERROR) {
    if (error.code == SECRET_ERROR_IS_LOCKED) return Outcome::locked;
    return error.code == SECRET_ERROR_NO_SUCH_OBJECT ? Outcome::gone : Outcome::broken;
  }
  if (error.domain == G_IO_ERROR) {
    // An error name that GLib does not know, or an answer of another type; the others come from the
    // connection.
    const bool isAnswer = error.code == G_IO_ERROR_DBUS_ERROR || error.code == G_IO_ERROR_INVALID_ARGUMENT;
    return isAnswer ? Outcome::broken : Outcome::unavailable;
  }
  if (error.domain != G_DBUS_ERROR) return Outcome::broken;
  switch (error.code) {
    // An object that has gone has no methods either.
    case G_DBUS_ERROR_UNKNOWN_METHOD:
    case G_DBUS_ERROR_UNKNOWN_OBJECT:
      return Outcome::gone;
    case G_DBUS_ERROR_FAILED:
    case G_DBUS_ERROR_NO_MEMORY:
    case G_DBUS_ERROR_IO_ERROR:
    case G_DBUS_ERROR_BAD_ADDRESS:
    case G_DBUS_ERROR_NOT_SUPPORTED:
    case G_DBUS_ERROR_INVALID_ARGS:
    case G_DBUS_ERROR_INVALID_SIGNATURE:
    case G_DBUS_ERROR_UNKNOWN_INTERFACE:
    case G_DBUS_ERROR_UNKNOWN_PROPERTY:
      return Outcome::broken;
    // Nobody of that name, no answer, no start, no permission.
    default:
      return Outcome::unavailable;
  }
}

}  // namespace quelto::keychain
