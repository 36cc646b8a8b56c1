#include "platform/text/harmless_text.h"

#include "platform/text/utf8.h"

namespace quelto::platform {
namespace {

/// U+FFFD.
constexpr std::string_view replacement = "\xEF\xBF\xBD";

/// A line break of the Unicode standard, section 5.8, where CR LF is one.
bool isLineBreak(char32_t scalar) {
  return (scalar >= 0x0A && scalar <= 0x0D) || scalar == 0x85 || scalar == 0x2028 || scalar == 0x2029;
}

bool isControlOrLineBreak(char32_t scalar) {
  return scalar < 0x20 || (scalar >= 0x7F && scalar < 0xA0) || isLineBreak(scalar);
}

bool steersTerminal(char32_t scalar) {
  const bool isDirection = scalar == 0x061C || scalar == 0x200E || scalar == 0x200F ||
                           (scalar >= 0x202A && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069);
  return isControlOrLineBreak(scalar) || isDirection;
}

/// The text with `lineBreak` for each line break.
std::string withLineBreaksAs(char lineBreak, std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const Scalar scalar = scalarAt(text, at);
    const std::size_t length = text.substr(at).starts_with("\r\n") ? 2 : scalar.length;
    result += isLineBreak(scalar.value) ? std::string_view(&lineBreak, 1) : text.substr(at, length);
    at += length;
  }
  return result;
}

/// The text with "?" for each character for which `isQuestionable`, and U+FFFD for what no text can hold.
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

std::string terminalLines(std::string_view text) {
  return replaced(withLineBreaksAs('\n', text),
                  [](char32_t scalar) { return scalar != '\n' && steersTerminal(scalar); });
}

std::string joinedLines(std::string_view text) { return withLineBreaksAs(' ', text); }

std::string singleLineText(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const Scalar scalar = scalarAt(text, at);
    if (!isControlOrLineBreak(scalar.value)) result += text.substr(at, scalar.length);
    at += scalar.length;
  }
  return result;
}

}  // namespace quelto::platform
