#include <cstdlib>

#include "ini/ini_parser.h"
#include "util/lines.h"

/// Whatever the bytes: no name is empty, no key holds "=", and only lines of the text are rejected.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  quelto::ini::IniParser parser(true, [text](auto, std::int64_t index, std::string_view line) {
    if (index < 0 || line.data() < text.data() || line.end() > text.end()) std::abort();
  });
  quelto::util::forEachLine(text, [&parser](std::string_view line) { parser.takeLine(line); });
  for (const auto& [name, section] : parser.takeValues()) {
    if (name.empty()) std::abort();
    for (const auto& [key, value] : section) {
      if (key.empty() || key.find('=') != std::string::npos) std::abort();
    }
  }
  return 0;
}
