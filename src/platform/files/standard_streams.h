#pragma once

#include <string_view>

namespace quelto::platform {

/// Opens the null device as each of the descriptors 0, 1 and 2 that the caller left closed, so that no other
/// descriptor gets such a number and becomes a stream of ssh. To be called first of all. False when the null
/// device cannot be opened.
[[nodiscard]] bool openMissingStandardStreams();

/// Writes the whole text to descriptor 1 or 2, unbuffered, so that nothing is left to flush. Waits for a
/// descriptor that the caller made non-blocking. False when a part could not be written.
[[nodiscard]] bool writeStandardOutput(std::string_view text);
[[nodiscard]] bool writeStandardError(std::string_view text);

}  // namespace quelto::platform
