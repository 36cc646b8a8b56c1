#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "ini/ini_writer.h"
#include "platform/text/unicode.h"
#include "util/lines.h"

/// What `IniFile` says about the texts that come back as they were saved, in a second wording.
namespace quelto::fuzz {

/// How a file is written and read again.
struct IniForm {
  std::optional<std::int64_t> lineLen;
  bool ignoreCase = true;
};

inline bool isQuoted(std::string_view text) { return text.starts_with(' ') || text.ends_with(' '); }

inline bool survivesPlain(std::string_view text) {
  if (util::holdsLineEnd(text)) return false;
  return isQuoted(text) || (util::trim(text) == text && !(text.starts_with('"') && text.ends_with('"')));
}

inline bool nameSurvives(std::string_view name, const IniForm& form) {
  return !name.empty() && survivesPlain(name) && (!form.ignoreCase || platform::lowercased(name) == name);
}

inline bool valueSurvives(std::string_view key, std::string_view value, const IniForm& form) {
  const auto pieces = ini::wrappedPieces(key, value, form.lineLen);
  if (!pieces.empty()) {
    std::string joined;
    for (const std::string_view piece : pieces) joined += piece;
    return joined == value && !util::holdsLineEnd(value);
  }
  const bool makesHeader = key.starts_with('[') && !isQuoted(key) && value.ends_with(']');
  return survivesPlain(value) && (isQuoted(value) || (!makesHeader && !value.ends_with(" ^")));
}

inline bool entrySurvives(std::string_view key, std::string_view value, const IniForm& form) {
  const bool isComment = (key.starts_with(';') || key.starts_with('#')) && !isQuoted(key);
  return nameSurvives(key, form) && key.find('=') == std::string_view::npos && !isComment &&
         valueSurvives(key, value, form);
}

inline bool sectionSurvives(std::string_view name, const ini::IniSection& section, const IniForm& form) {
  return nameSurvives(name, form) && std::ranges::all_of(section, [&form](const auto& entry) {
           return entrySurvives(entry.name, entry.value, form);
         });
}

}  // namespace quelto::fuzz
