#include "ini/ini_parser.h"

#include "platform/text/unicode.h"
#include "util/strings.h"

namespace quelto::ini {
namespace {

constexpr std::string_view continuation = " ^";

/// The text between the quotes when it begins and ends with one; a lone quote is both.
std::string_view unquoted(std::string_view text) {
  if (!text.starts_with('"') || !text.ends_with('"')) return text;
  return text.size() == 1 ? "" : text.substr(1, text.size() - 2);
}

bool isHeader(std::string_view trimmed) { return trimmed.starts_with('[') && trimmed.ends_with(']'); }

/// Whether a line is a piece of a wrapped value: it begins with a quote that is not that of a key.
bool isPiece(std::string_view trimmed) {
  if (!trimmed.starts_with('"')) return false;
  const std::string_view name = util::trim(trimmed.substr(0, trimmed.find('=')));
  return name == trimmed || name.size() == 1 || !name.ends_with('"');
}

std::string_view withoutContinuation(std::string_view text) {
  return util::trim(text.substr(0, text.size() - continuation.size()));
}

}  // namespace

void IniParser::takeLine(std::string_view line) {
  ++index_;
  const std::string_view trimmed = util::trim(line);
  if (continues_) {
    continueValue(line, trimmed);
    return;
  }
  if (trimmed.empty() || trimmed.starts_with(';') || trimmed.starts_with('#')) return;
  if (isHeader(trimmed)) {
    const std::string name = nameOf(trimmed.substr(1, trimmed.size() - 2));
    section_ = name.empty() ? nullptr : &values_[name];
    if (name.empty()) reject(IniError::emptySectionName, line);
    return;
  }
  takeContent(line, trimmed);
}

void IniParser::continueValue(std::string_view line, std::string_view trimmed) {
  if (value_ == nullptr) {
    hasLostEntries_ |= isHeader(trimmed) || trimmed.find('=') != std::string_view::npos;
    reject(IniError::driftContinuation, line);
    return;
  }
  continues_ = trimmed.ends_with(continuation);
  *value_ += unquoted(continues_ ? withoutContinuation(trimmed) : trimmed);
}

void IniParser::takeContent(std::string_view line, std::string_view trimmed) {
  hasLostEntries_ |= isPiece(trimmed);
  if (section_ == nullptr) {
    reject(IniError::independentLine, line);
    return;
  }
  const std::size_t equals = trimmed.find('=');
  if (equals == std::string_view::npos) {
    reject(IniError::invalidLine, line);
    return;
  }
  const std::string key = nameOf(trimmed.substr(0, equals));
  std::string_view value = util::trim(trimmed.substr(equals + 1));
  continues_ = value.ends_with(continuation);
  value_ = nullptr;
  if (key.empty()) {
    reject(IniError::emptyKeyName, line);
    return;
  }
  if (continues_) value = withoutContinuation(value);
  value_ = &(*section_)[key];
  *value_ = unquoted(value);
}

std::string IniParser::nameOf(std::string_view text) const {
  const std::string_view name = unquoted(util::trim(text));
  return ignoreCase_ ? platform::lowercased(name) : std::string(name);
}

void IniParser::reject(IniError error, std::string_view line) const {
  if (rejected_) rejected_(error, index_, line);
}

}  // namespace quelto::ini
