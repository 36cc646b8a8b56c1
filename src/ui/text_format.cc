#include "ui/text_format.h"

#include <charconv>
#include <cstddef>

#include "platform/text/utf8.h"

namespace quelto::ui {
namespace {

/// A placeholder at the beginning of a text: its length (0: none is there) and its number (0: the next
/// argument).
struct Placeholder {
  std::size_t length = 0;
  std::size_t number = 0;
};

Placeholder placeholderAt(std::string_view text) {
  if (text.starts_with("%@")) return {.length = 2};
  const char* const end = text.data() + text.size();
  std::size_t number = 0;
  const auto [stop, error] = std::from_chars(text.data() + 1, end, number);
  const std::string_view rest(stop, static_cast<std::size_t>(end - stop));
  if (stop == text.data() + 1 || !rest.starts_with("$@")) return {};
  // Numbers count from 1; 0, and one too large to be read, name no argument.
  const bool isNumber = error == std::errc{} && number > 0;
  return {.length = static_cast<std::size_t>(stop - text.data()) + 2,
          .number = isNumber ? number : std::string_view::npos};
}

}  // namespace

std::string formatted(std::string_view format, std::span<const std::string> arguments) {
  std::string result;
  // One byte too many tells that there was more.
  const auto append = [&result](std::string_view text) {
    result += text.substr(0, maximumFormattedSize + 1 - result.size());
  };
  std::size_t next = 0;
  while (!format.empty() && result.size() <= maximumFormattedSize) {
    const std::size_t percent = format.find('%');
    append(format.substr(0, percent));
    if (percent == std::string_view::npos) break;
    format.remove_prefix(percent);
    if (const Placeholder placeholder = placeholderAt(format); placeholder.length > 0) {
      const std::size_t index = placeholder.number > 0 ? placeholder.number - 1 : next++;
      if (index < arguments.size()) append(arguments[index]);
      format.remove_prefix(placeholder.length);
    } else {
      append("%");
      format.remove_prefix(format.starts_with("%%") ? 2 : 1);
    }
  }
  result.resize(platform::beginningOf(result, maximumFormattedSize).size());
  return result;
}

}  // namespace quelto::ui
