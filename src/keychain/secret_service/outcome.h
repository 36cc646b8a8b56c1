#pragma once

#include <glib.h>

#include "keychain/os_status.h"

namespace quelto::keychain {

/// How a request to the keyring ended.
enum class Outcome {
  done,
  /// The object that it was sent to is not there (any more).
  gone,
  locked,
  /// Bus or service cannot be reached, or has not answered in time: whether it was carried out is not known.
  unavailable,
  /// The service failed, or answers other than the Secret Service API says.
  broken,
};

[[nodiscard]] OSStatus statusOf(Outcome outcome);

/// What an error of GLib, GIO or libsecret means, in the answer to a request or in place of one.
[[nodiscard]] Outcome outcomeOf(const GError& error);

}  // namespace quelto::keychain
