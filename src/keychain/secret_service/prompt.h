#pragma once

#include <string>

#include "keychain/secret_service/keyring_service.h"
#include "keychain/secret_service/timed_call.h"

namespace quelto::keychain {

/// Shows a dialog that the keyring has prepared and waits for its end, past the call's deadline too: see
/// `TimedCall`. `locked` when the person refuses, or when this process is showing a dialog already;
/// `lockedWithoutDisplay` when there is no display. Done at once for `noPath`, which is no dialog. The
/// answer's value is what the dialog has brought about; its type depends on the dialog. `noAnswer` when the
/// daemon ends meanwhile. On the call's thread.
[[nodiscard]] Answer showPrompt(KeyringService& keyring, TimedCall& call, const std::string& prompt);

}  // namespace quelto::keychain
