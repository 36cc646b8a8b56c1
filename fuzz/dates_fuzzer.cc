#include <cstdlib>

#include "util/dates.h"

/// A text that is read as a date is what that date is written as, or means the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quelto::util;
  static const int zone = ::setenv("TZ", "UTC0", 1);
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto date = fromIsoText(text);
  if (zone != 0 || !date) return zone;
  const std::string written = toIsoText(*date);
  if (text.ends_with('Z') ? written != text : !written.empty() && fromIsoText(written) != date) std::abort();
  return 0;
}
