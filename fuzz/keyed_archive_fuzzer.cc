#include "platform/resources/keyed_archive.h"

#include <cstdint>
#include <cstdlib>

#include "platform/text/utf8.h"

/// What is found is UTF-8, and no longer than UTF-16 becomes by that: three bytes for two.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quelto::platform;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto text = stringInKeyedArchive(bytes);
  if (text && (!isValidUtf8(*text) || text->size() > size * 2)) std::abort();
  return 0;
}
