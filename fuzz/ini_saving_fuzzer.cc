#include <cstdlib>

#include "ini_survival.h"

/// A line's length, then a section's name, its keys and values, each behind a NUL: what is written is read as
/// it was exactly when it is said to survive.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quelto;
  const auto texts = util::split({reinterpret_cast<const char*>(data), size}, '\0');
  const fuzz::IniForm form{.lineLen = size != 0 ? data[0] : 0, .ignoreCase = size % 2 == 0};
  ini::IniValues values;
  ini::IniSection& section = values[texts[texts.size() > 1 ? 1 : 0]];
  for (std::size_t at = 2; at + 1 < texts.size(); at += 2) section[texts[at]] = texts[at + 1];
  ini::IniParser parser(form.ignoreCase, {});
  const std::string text = ini::iniText(values, form.lineLen, "");
  util::forEachLine(text, [&](std::string_view line) { parser.takeLine(line); });
  const bool survives = fuzz::sectionSurvives(values.begin()->name, section, form);
  return (parser.takeValues() == values) == survives ? 0 : (std::abort(), 1);
}
