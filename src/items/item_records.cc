#include "items/item_records.h"

#include <initializer_list>

namespace quelto::credentials {
namespace {

using platform::SecDictionary;
using platform::SecDictionaryKey;
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

template <typename Code>
std::string codeText(std::optional<Code> code) {
  return code ? fourCharString(*code) : "";
}

ItemEntry entry(const GeneralPassword& item) {
  return {{"class", "general"},
          {"account", item.account.value_or("")},
          {"service", item.service.value_or("")},
          {"generic", item.generic.value_or("")},
          {"label", item.label.value_or("")},
          {"description", item.description.value_or("")},
          {"comment", item.comment.value_or("")}};
}

ItemEntry entry(const InternetPassword& item) {
  return {{"class", "internet"},
          {"account", item.account.value_or("")},
          {"domain", item.domain.value_or("")},
          {"server", item.server.value_or("")},
          {"path", item.path.value_or("")},
          {"port", item.port ? std::to_string(*item.port) : ""},
          {"scheme", codeText(item.scheme)},
          {"auth", codeText(item.auth)},
          {"label", item.label.value_or("")},
          {"description", item.description.value_or("")},
          {"comment", item.comment.value_or("")}};
}

ItemEntry entry(const SecureNote& item) {
  return {{"class", "securenote"},
          {"account", item.account.value_or("")},
          {"name", item.name.value_or("")},
          {"generic", item.generic.value_or("")},
          {"label", item.label.value_or("")},
          {"description", std::string(SecureNote::description)},
          {"comment", item.comment.value_or("")}};
}

}  // namespace

SecDictionary GeneralPassword::buildMatchDicton() const {
  SecDictionary match{{platform::kSecClass, platform::kSecClassGenericPassword}};
  addPresent(match, {{platform::kSecAttrAccount, account},
                     {platform::kSecAttrService, service},
                     {platform::kSecAttrGeneric, generic},
                     {platform::kSecAttrLabel, label},
                     {platform::kSecAttrDescription, description},
                     {platform::kSecAttrComment, comment}});
  return match;
}

SecDictionary InternetPassword::buildMatchDicton() const {
  SecDictionary match{{platform::kSecClass, platform::kSecClassInternetPassword}};
  addPresent(match, {{platform::kSecAttrAccount, account}, {platform::kSecAttrServer, server}});
  if (port) match.set(platform::kSecAttrPort, std::int64_t{*port});
  addCode(match, platform::kSecAttrProtocol, scheme);
  addPresent(match, {{platform::kSecAttrPath, path},
                     {platform::kSecAttrLabel, label},
                     {platform::kSecAttrComment, comment},
                     {platform::kSecAttrDescription, description},
                     {platform::kSecAttrSecurityDomain, domain}});
  addCode(match, platform::kSecAttrAuthenticationType, auth);
  return match;
}

SecDictionary SecureNote::buildMatchDicton() const {
  SecDictionary match{{platform::kSecClass, platform::kSecClassGenericPassword}};
  addPresent(match, {{platform::kSecAttrService, name},
                     {platform::kSecAttrAccount, account},
                     {platform::kSecAttrLabel, label},
                     {platform::kSecAttrComment, comment}});
  match.set(platform::kSecAttrType, type);
  match.set(platform::kSecAttrDescription, std::string(description));
  addPresent(match, {{platform::kSecAttrGeneric, generic}});
  return match;
}

SecDictionary buildMatchDicton(const SecPasswordStruct& record) {
  return std::visit([](const auto& item) { return item.buildMatchDicton(); }, record);
}

ItemEntry entryOf(const SecPasswordStruct& record) {
  return std::visit([](const auto& item) { return entry(item); }, record);
}

}  // namespace quelto::credentials
