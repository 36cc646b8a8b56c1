#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace quelto::ini {

/// Why a line is rejected.
enum class IniError {
  /// It continues a value, but the key of that value was rejected. So is every line after it.
  driftContinuation,
  /// A header without a name; the lines up to the next header are rejected too.
  emptySectionName,
  /// It is in no section.
  independentLine,
  /// It has no "=".
  invalidLine,
  /// It has no key before the "=".
  emptyKeyName,
};

[[nodiscard]] std::string_view rawValue(IniError error);
/// Absent for any other text.
[[nodiscard]] std::optional<IniError> iniErrorFromRawValue(std::string_view rawValue);

/// Is told of a rejected line: its position in the file, counted from 0, and the line as it is there.
using RejectedLine = std::function<void(IniError error, std::int64_t index, std::string_view line)>;

}  // namespace quelto::ini
