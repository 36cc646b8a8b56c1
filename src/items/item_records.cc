#include "items/item_records.h"

#include <initializer_list>

namespace quelto::items {
namespace {

using keychain::SecDictionary;
using keychain::SecDictionaryKey;
using OptionalText = std::optional<std::string>;

struct TextField {
  SecDictionaryKey key;
  const OptionalText& text;
};

void addPresent(SecDictionary& dictionary, std::initializer_list<TextField> fields) {
  for (const auto& [key, text] : fields) {
    if (text) dictionary.set(key, *text);
  }
}

template <typename Code>
void addCode(SecDictionary& dictionary, SecDictionaryKey key, std::optional<Code> code) {
  if (code && *code != Code{}) dictionary.set(key, fourCharString(*code));
}

struct Entry {
  std::string_view key;
  std::string value;
};

ini::IniSection sectionOf(std::initializer_list<Entry> entries) {
  ini::IniSection section;
  for (const auto& [key, value] : entries) section[key] = value;
  return section;
}

/// Of an absent code, four NULs.
template <typename Code>
std::string codeText(std::optional<Code> code) {
  return fourCharString(code.value_or(Code{}));
}

ini::IniSection entry(const GeneralPassword& item) {
  return sectionOf({{"class", "general"},
                    {"account", item.account.value_or("")},
                    {"service", item.service.value_or("")},
                    {"generic", item.generic.value_or("")},
                    {"label", item.label.value_or("")},
                    {"description", item.description.value_or("")},
                    {"comment", item.comment.value_or("")}});
}

ini::IniSection entry(const InternetPassword& item) {
  return sectionOf({{"class", "internet"},
                    {"account", item.account.value_or("")},
                    {"domain", item.domain.value_or("")},
                    {"server", item.server.value_or("")},
                    {"path", item.path.value_or("")},
                    {"port", std::to_string(item.port.value_or(0))},
                    {"scheme", codeText(item.scheme)},
                    {"auth", codeText(item.auth)},
                    {"label", item.label.value_or("")},
                    {"description", item.description.value_or("")},
                    {"comment", item.comment.value_or("")}});
}

ini::IniSection entry(const SecureNote& item) {
  return sectionOf({{"class", "securenote"},
                    {"account", item.account.value_or("")},
                    {"name", item.name.value_or("")},
                    {"generic", item.generic.value_or("")},
                    {"label", item.label.value_or("")},
                    {"description", std::string(SecureNote::description)},
                    {"comment", item.comment.value_or("")}});
}

}  // namespace

SecDictionary GeneralPassword::buildMatchDicton() const {
  SecDictionary match{{keychain::kSecClass, keychain::kSecClassGenericPassword}};
  addPresent(match, {{keychain::kSecAttrAccount, account},
                     {keychain::kSecAttrService, service},
                     {keychain::kSecAttrGeneric, generic},
                     {keychain::kSecAttrLabel, label},
                     {keychain::kSecAttrDescription, description},
                     {keychain::kSecAttrComment, comment}});
  return match;
}

SecDictionary InternetPassword::buildMatchDicton() const {
  SecDictionary match{{keychain::kSecClass, keychain::kSecClassInternetPassword}};
  addPresent(match, {{keychain::kSecAttrAccount, account}, {keychain::kSecAttrServer, server}});
  if (port) match.set(keychain::kSecAttrPort, std::int64_t{*port});
  addCode(match, keychain::kSecAttrProtocol, scheme);
  addPresent(match, {{keychain::kSecAttrPath, path},
                     {keychain::kSecAttrLabel, label},
                     {keychain::kSecAttrComment, comment},
                     {keychain::kSecAttrDescription, description},
                     {keychain::kSecAttrSecurityDomain, domain}});
  addCode(match, keychain::kSecAttrAuthenticationType, auth);
  return match;
}

SecDictionary SecureNote::buildMatchDicton() const {
  SecDictionary match{{keychain::kSecClass, keychain::kSecClassGenericPassword}};
  addPresent(match, {{keychain::kSecAttrService, name},
                     {keychain::kSecAttrAccount, account},
                     {keychain::kSecAttrLabel, label},
                     {keychain::kSecAttrComment, comment}});
  match.set(keychain::kSecAttrType, type);
  match.set(keychain::kSecAttrDescription, std::string(description));
  addPresent(match, {{keychain::kSecAttrGeneric, generic}});
  return match;
}

SecDictionary buildMatchDicton(const SecPasswordStruct& record) {
  return std::visit([](const auto& item) { return item.buildMatchDicton(); }, record);
}

ini::IniSection entryOf(const SecPasswordStruct& record) {
  return std::visit([](const auto& item) { return entry(item); }, record);
}

}  // namespace quelto::items
