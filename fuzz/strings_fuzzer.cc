#include <cstdlib>

#include "util/paths.h"
#include "util/strings.h"

/// The first two bytes are positions, the rest is a text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quelto::util;
  if (size < 2) return 0;
  const auto from = static_cast<signed char>(data[0]);
  const auto to = static_cast<signed char>(data[1]);
  const std::string_view text(reinterpret_cast<const char*>(data) + 2, size - 2);
  if (substr(text, CharactersTo{0, -1}) != text || trim(trim(text)) != trim(text)) std::abort();
  const auto slice = substr(text, CharactersTo{from, to});
  if (text.find(slice) == std::string_view::npos) std::abort();
  if (from >= 0 && to >= from && substr(text, CharacterCount{from, to - from + 1}) != slice) std::abort();
  if (!text.ends_with(ltrim(text, {"a", "\u00E9", "\r\n"}))) std::abort();
  return appendPathComponent(text, "x").empty() ? (std::abort(), 1) : 0;
}
