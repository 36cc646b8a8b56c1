#include "keychain/secret_service/outcome.h"

#include <string_view>

namespace quelto::keychain {
namespace {

/// An error whose name GLib does not know: the service's own.
Outcome outcomeOfOwnError(const GError& error) {
  const TextOwner remoteName(g_dbus_error_get_remote_error(&error));
  const std::string_view name = remoteName != nullptr ? remoteName.get() : "";
  if (name == "org.freedesktop.Secret.Error.IsLocked") return Outcome::locked;
  return name == "org.freedesktop.Secret.Error.NoSuchObject" ? Outcome::noSuchObject : Outcome::failed;
}

}  // namespace

OSStatus statusOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::done:
      return errSecSuccess;
    case Outcome::locked:
    case Outcome::lockedWithoutDisplay:
      return errSecInteractionNotAllowed;
    case Outcome::noOwner:
    case Outcome::refused:
    case Outcome::noAnswer:
      return errSecNotAvailable;
    case Outcome::noSuchObject:
    case Outcome::notSupported:
    case Outcome::failed:
      break;
  }
  return errSecIO;
}

Outcome outcomeOf(const GError& error) {
  if (error.domain == G_IO_ERROR) {
    if (error.code == G_IO_ERROR_DBUS_ERROR) return outcomeOfOwnError(error);
    // An answer of another type; all others come from the connection.
    return error.code == G_IO_ERROR_INVALID_ARGUMENT ? Outcome::failed : Outcome::noAnswer;
  }
  if (error.domain != G_DBUS_ERROR) return Outcome::failed;
  switch (error.code) {
    // An object that does not exist has no methods either.
    case G_DBUS_ERROR_UNKNOWN_METHOD:
    case G_DBUS_ERROR_UNKNOWN_OBJECT:
      return Outcome::noSuchObject;
    case G_DBUS_ERROR_SERVICE_UNKNOWN:
    case G_DBUS_ERROR_NAME_HAS_NO_OWNER:
      return Outcome::noOwner;
    case G_DBUS_ERROR_NO_REPLY:
    case G_DBUS_ERROR_TIMEOUT:
    case G_DBUS_ERROR_TIMED_OUT:
    case G_DBUS_ERROR_DISCONNECTED:
      return Outcome::noAnswer;
    case G_DBUS_ERROR_NOT_SUPPORTED:
      return Outcome::notSupported;
    case G_DBUS_ERROR_FAILED:
    case G_DBUS_ERROR_NO_MEMORY:
    case G_DBUS_ERROR_IO_ERROR:
    case G_DBUS_ERROR_BAD_ADDRESS:
    case G_DBUS_ERROR_INVALID_ARGS:
    case G_DBUS_ERROR_INVALID_SIGNATURE:
    case G_DBUS_ERROR_UNKNOWN_INTERFACE:
    case G_DBUS_ERROR_UNKNOWN_PROPERTY:
      return Outcome::failed;
    default:
      return Outcome::refused;
  }
}

}  // namespace quelto::keychain
