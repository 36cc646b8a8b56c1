#include <cstdlib>

#include "platform/resources/strings_table.h"
#include "platform/text/utf8.h"
#include "ui/text_format.h"

/// Whatever the bytes: a table's texts are well formed, and each may serve as a format.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quelto;
  const std::string_view content(reinterpret_cast<const char*>(data), size);
  const std::vector<std::string> arguments{"one", "%@ %1$@"};
  for (const auto& [key, value] : platform::parseStringsTable(content)) {
    if (!platform::isValidUtf8(key) || !platform::isValidUtf8(value)) std::abort();
    if (value.find('%') == std::string::npos && ui::formatted(value, arguments) != value) std::abort();
    (void)ui::formatted(value, {});
  }
  return ui::formatted(content, {}).size() <= size ? 0 : (std::abort(), 1);
}
