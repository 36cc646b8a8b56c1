#pragma once

#include <span>
#include <string>

#include "launcher/process_values.h"

namespace quelto::launcher {

/// What a run is for: the banner, when there are no arguments, or running ssh.
enum class Mode { banner, wrapper };

/// Sets the values that do not depend on the arguments: title (which only the banner shows), folders, version
/// and language.
void startUp(ProcessValues& values, Mode mode);

/// Title, version and the revision of every unit, as printed when the tool is run without arguments.
[[nodiscard]] std::string banner(const ProcessValues& values);

/// Reads the request: the command line (`words`: without the program name), completed by the server list and
/// the environment. Ends the process with E01 when AUTH_KEYCHAIN is not set.
void readRequest(ProcessValues& values, std::span<const std::string> words);

}  // namespace quelto::launcher
