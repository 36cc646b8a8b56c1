#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/resources/property_list.h"

namespace quelto::platform {

/// What the property-list module answers; the contracts are those of property_list.h and keyed_archive.h, and
/// the limits are the caller's. Thread-safe.
class PropertyListService {
 public:
  PropertyListService() = default;
  PropertyListService(const PropertyListService&) = delete;
  PropertyListService& operator=(const PropertyListService&) = delete;

  [[nodiscard]] virtual std::optional<PropertyListDictionary> parse(std::string_view bytes) const = 0;
  [[nodiscard]] virtual std::string binary(const PropertyListDictionary& dictionary) const = 0;
  [[nodiscard]] virtual std::optional<std::string> archivedString(std::string_view bytes) const = 0;

 protected:
  ~PropertyListService() = default;
};

/// Opens the module on first use; null when it is missing. Thread-safe.
[[nodiscard]] const PropertyListService* propertyListService();

}  // namespace quelto::platform

/// The module's one entry. The service lives as long as the process.
extern "C" [[gnu::visibility("default")]] const quelto::platform::PropertyListService*
queltoPropertyListService();
