#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quelto::platform {

/// The text that is the root of a keyed archive (NSKeyedArchiver's form, version 100000, as a binary or XML
/// property list): a plain one or a mutable one. Absent for any other bytes, for an archive beyond the limits
/// of `isSmallPropertyList`, for a text that is no UTF-8, and when the property-list module is missing. That
/// module is opened for the first bytes that begin like a property list. Thread-safe.
[[nodiscard]] std::optional<std::string> stringInKeyedArchive(std::string_view bytes);

}  // namespace quelto::platform
