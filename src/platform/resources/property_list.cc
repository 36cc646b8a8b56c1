#include "platform/resources/property_list.h"

#include "platform/bundle/module.h"
#include "platform/resources/property_list_service.h"

namespace quelto::platform {
namespace {

template <typename Value>
std::optional<Value> valueAt(const PropertyListDictionary& dictionary, std::string_view key) {
  const auto entry = dictionary.find(key);
  const auto* value = entry != dictionary.end() ? std::get_if<Value>(&entry->second) : nullptr;
  return value != nullptr ? std::optional(*value) : std::nullopt;
}

}  // namespace

const PropertyListService* propertyListService() {
  static const auto* const service =
      moduleService<const PropertyListService>("libquelto_property_list.so", "queltoPropertyListService");
  return service;
}

std::optional<PropertyListDictionary> parsePropertyList(std::string_view bytes) {
  const PropertyListService* service = propertyListService();
  return service != nullptr ? service->parse(bytes) : std::nullopt;
}

std::string binaryPropertyList(const PropertyListDictionary& dictionary) {
  const PropertyListService* service = propertyListService();
  return service != nullptr ? service->binary(dictionary) : "";
}

std::optional<std::string> textAt(const PropertyListDictionary& dictionary, std::string_view key) {
  return valueAt<std::string>(dictionary, key);
}

std::optional<std::uint64_t> numberAt(const PropertyListDictionary& dictionary, std::string_view key) {
  return valueAt<std::uint64_t>(dictionary, key);
}

}  // namespace quelto::platform
