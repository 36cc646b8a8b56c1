#include "ini/ini_error.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace quelto::ini {
namespace {

constexpr std::array<std::string_view, 5> rawValues = {"drift_line", "empty_section", "ident_line",
                                                       "invalid_line", "empty_keyname"};

}  // namespace

std::string_view rawValue(IniError error) { return rawValues[static_cast<std::size_t>(error)]; }

std::optional<IniError> iniErrorFromRawValue(std::string_view rawValue) {
  const auto found = std::ranges::find(rawValues, rawValue);
  if (found == rawValues.end()) return std::nullopt;
  return static_cast<IniError>(std::distance(rawValues.begin(), found));
}

}  // namespace quelto::ini
