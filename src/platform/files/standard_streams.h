#pragma once

#include <string_view>

namespace quelto::platform {

/// Opens each of the descriptors 0, 1 and 2 that the caller left closed on the null device, so that no
/// descriptor of ours takes one of these numbers and becomes a stream of ssh. First call of the process.
/// False when the null device cannot be opened.
[[nodiscard]] bool openMissingStandardStreams();

/// Writes the whole text to descriptor 1 or 2, unbuffered: when the call returns, nothing is left to flush.
/// A descriptor that the caller made non-blocking is waited for. False when a part could not be written.
[[nodiscard]] bool writeStandardOutput(std::string_view text);
[[nodiscard]] bool writeStandardError(std::string_view text);

}  // namespace quelto::platform
