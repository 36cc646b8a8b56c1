#pragma once

#include "keychain/os_status.h"
#include "keychain/secret_service/glib_owners.h"

namespace quelto::keychain {

/// How a request to the bus or to the keyring ended.
enum class Outcome {
  done,
  /// The object that it was sent to does not exist, or no longer.
  noSuchObject,
  /// The person has to open the collection, and did not.
  locked,
  /// The same where there is no display to ask the person on.
  lockedWithoutDisplay,
  /// Nobody has the name that it was sent to, or no longer.
  noOwner,
  /// The bus does not permit it, or cannot start the service.
  refused,
  /// No answer in time, or no bus: whether it was carried out is not known.
  noAnswer,
  /// The service does not know what is asked for.
  notSupported,
  /// The service failed, or answered other than the Secret Service API says.
  failed,
};

/// What a call of the store answers with; `errSecIO` for what is the fault neither of the bus nor of the
/// person. Thread-safe.
[[nodiscard]] OSStatus statusOf(Outcome outcome);

/// What the error of a call over GDBus means; `failed` when it is not one of GDBus or GIO. Thread-safe.
[[nodiscard]] Outcome outcomeOf(const GError& error);

}  // namespace quelto::keychain
