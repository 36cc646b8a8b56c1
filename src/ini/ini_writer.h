#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ini/ini_parser.h"

namespace quelto::ini {

/// The text that `IniFile::saveAll` writes. Linear in its length.
[[nodiscard]] std::string iniText(const IniValues& values, std::optional<std::int64_t> lineLen,
                                  std::string_view headComment);

/// How a file is written and read again.
struct IniForm {
  std::optional<std::int64_t> lineLen;
  bool ignoreCase = true;
};

/// Whether a section comes back under its name with all its entries as they are; `IniFile` lists what does
/// not. A section that does not may take others with it, so a map comes back whole when this holds for each
/// of its sections. (Text that is not UTF-8 would come back too, but no such file is read.) Linear in the
/// texts' length.
[[nodiscard]] bool sectionSurvives(std::string_view name, const IniSection& section, const IniForm& form);

}  // namespace quelto::ini
