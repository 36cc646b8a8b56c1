/// The fractions of an INI file. In a file of their own, since reading one links the C library's mathematics,
/// a shared library that a program without fractions need not load.
#include <charconv>
#include <cmath>

#include "ini/ini_file.h"

namespace quelto::ini {

template <typename Number>
std::optional<Number> IniFile::readNumber(std::string_view section, std::string_view key) const {
  const std::string value = readString(section, key).value_or("");
  std::string_view text = value;
  // from_chars takes a "-" by itself but no "+".
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  const char* const end = text.data() + text.size();
  Number number = 0;
  const auto result = std::from_chars(text.data(), end, number);
  const bool isWhole = result.ec == std::errc{} && result.ptr == end;
  return isWhole && std::isfinite(number) ? std::optional(number) : std::nullopt;
}

std::optional<float> IniFile::readFloat(std::string_view section, std::string_view key) const {
  return readNumber<float>(section, key);
}

std::optional<double> IniFile::readCGFloat(std::string_view section, std::string_view key) const {
  return readNumber<double>(section, key);
}

}  // namespace quelto::ini
