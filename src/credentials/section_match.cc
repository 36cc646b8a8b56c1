#include "credentials/section_match.h"

#include <algorithm>
#include <initializer_list>

#include "platform/text/unicode.h"
#include "util/strings.h"

namespace quelto::credentials {
namespace {

using ini::IniSection;
using items::GeneralPassword;
using items::InternetPassword;
using items::SecureNote;

const std::string& textOf(const IniSection& section, std::string_view key) {
  static const auto* const none = new std::string;
  const std::string* const text = section.find(key);
  return text != nullptr ? *text : *none;
}

struct TextField {
  std::string_view key;
  const std::optional<std::string>& text;
};

bool hasTexts(const IniSection& section, std::string_view itemClass,
              std::initializer_list<TextField> fields) {
  const auto has = [&section](std::string_view key, std::string_view text) {
    return platform::isCanonicallyEqual(textOf(section, key), text);
  };
  if (!has("class", itemClass)) return false;
  return std::ranges::all_of(
      fields, [&has](const TextField& field) { return !field.text || has(field.key, *field.text); });
}

bool hasPort(const IniSection& section, std::optional<std::uint16_t> port) {
  return port.value_or(0) == 0 || util::decimalInteger(textOf(section, "port")) == *port;
}

template <typename Code, typename Read>
bool hasCode(const IniSection& section, std::string_view key, std::optional<Code> code, Read read) {
  const Code wanted = code.value_or(Code{});
  return wanted == Code{} || read(textOf(section, key)) == wanted;
}

bool isMatch(const IniSection& section, const GeneralPassword& item) {
  return hasTexts(section, "general",
                  {{"account", item.account}, {"service", item.service}, {"generic", item.generic}});
}

bool isMatch(const IniSection& section, const InternetPassword& item) {
  return hasTexts(section, "internet",
                  {{"account", item.account},
                   {"domain", item.domain},
                   {"server", item.server},
                   {"path", item.path}}) &&
         hasPort(section, item.port) &&
         hasCode(section, "scheme", item.scheme, items::createSecProtocolType) &&
         hasCode(section, "auth", item.auth, items::createSecAuthenticationType);
}

bool isMatch(const IniSection& section, const SecureNote& item) {
  return hasTexts(section, "securenote",
                  {{"account", item.account}, {"name", item.name}, {"generic", item.generic}});
}

}  // namespace

bool matches(const IniSection& section, const items::SecPasswordStruct& record) {
  return std::visit([&section](const auto& item) { return isMatch(section, item); }, record);
}

}  // namespace quelto::credentials
