#pragma once

#include <optional>
#include <string>

namespace quelto::platform {

class Bundle;

/// A text of the bundle's information dictionary. Absent when the dictionary cannot be read, or has no text
/// under this key. Reads the file at each call; thread-safe.
[[nodiscard]] std::optional<std::string> infoText(const Bundle& bundle, const std::string& key);

/// "CFBundleIdentifier" of the information dictionary.
[[nodiscard]] std::optional<std::string> bundleIdentifier(const Bundle& bundle);

}  // namespace quelto::platform
