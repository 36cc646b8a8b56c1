#pragma once

#include <string>
#include <vector>

namespace quelto::launcher {

struct ProcessValues;

/// Turns `arguments` into ssh's whole argument list: -l and the user, -i and the identity file and -p and the
/// port where there are any, the options, user@host, and the command words.
void completeArguments(ProcessValues& values);

/// Lets SSH_ORIGINAL, trimmed of whitespace, replace `sshCommand`, and looks up the bare name "ssh".
void chooseSshProgram(ProcessValues& values);

/// ssh's whole environment, "NAME=value" each. Nothing of ours is inherited but SSH_AUTH_SOCK, LOGNAME and
/// HOME.
[[nodiscard]] std::vector<std::string> childEnvironment(const ProcessValues& values);

/// Runs ssh on our own standard streams, forwards the termination signals to it, waits for its end and then
/// at most 10 seconds for the background save or delete. Returns ssh's termination status (the signal's
/// number when one ended it). Ends the process with E04 when ssh cannot be started. Expects a complete
/// argument list and `finish`.
[[nodiscard]] int runSsh(ProcessValues& values);

}  // namespace quelto::launcher
