#include "platform/text/harmless_text.h"

#include "platform/text/utf8.h"

namespace quelto::platform {
namespace {

/// U+FFFD.
constexpr std::string_view replacement = "\xEF\xBF\xBD";

bool isControlOrLineEnd(char32_t scalar) {
  const bool isControl = scalar < 0x20 || (scalar >= 0x7F && scalar < 0xA0);
  return isControl || scalar == 0x2028 || scalar == 0x2029;
}

bool steersTerminal(char32_t scalar) {
  const bool isDirection = scalar == 0x061C || scalar == 0x200E || scalar == 0x200F ||
                           (scalar >= 0x202A && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069);
  return isControlOrLineEnd(scalar) || isDirection;
}

template <typename Predicate>
std::string replaced(std::string_view text, Predicate isQuestionable) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const Scalar scalar = scalarAt(text, at);
    if (isQuestionable(scalar.value)) {
      result += '?';
    } else if (!scalar.wellFormed || scalar.value == 0) {
      result += replacement;
    } else {
      result += text.substr(at, scalar.length);
    }
    at += scalar.length;
  }
  return result;
}

}  // namespace

std::string displayableText(std::string_view text) {
  return replaced(text, [](char32_t) { return false; });
}

std::string terminalText(std::string_view text) { return replaced(text, steersTerminal); }

std::string singleLineText(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const Scalar scalar = scalarAt(text, at);
    if (!isControlOrLineEnd(scalar.value)) result += text.substr(at, scalar.length);
    at += scalar.length;
  }
  return result;
}

}  // namespace quelto::platform
