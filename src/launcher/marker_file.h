#pragma once

#include <string>

namespace quelto::launcher {

/// Tells the ask-pass helper for which host a remembered user name is in use: writes "Username: " and the
/// host to the file `identifyFile` + ".u". The file is replaced whole, as is a link or a file of somebody
/// else in its place. Failures are ignored. Thread-safe.
void writeMarkerFile(const std::string& identifyFile, const std::string& host);

}  // namespace quelto::launcher
