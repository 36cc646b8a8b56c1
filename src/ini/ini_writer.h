#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ini/ini_parser.h"

namespace quelto::ini {

/// The text that `IniFile::saveAll` writes. Linear in its length.
[[nodiscard]] std::string iniText(const IniValues& values, std::optional<std::int64_t> lineLen,
                                  std::string_view headComment);

/// The trimmed pieces into which a value is wrapped; none when it is written as one line.
[[nodiscard]] std::vector<std::string_view> wrappedPieces(std::string_view key, std::string_view value,
                                                          std::optional<std::int64_t> lineLen);

}  // namespace quelto::ini
