#include "platform/resources/keyed_archive.h"

#include "platform/resources/property_list_bounds.h"
#include "platform/resources/property_list_service.h"
#include "platform/text/utf8.h"

namespace quelto::platform {

std::optional<std::string> stringInKeyedArchive(std::string_view bytes) {
  // SECURITY: whoever sends us a list that unfolds without end has us run out of memory.
  if (!isSmallPropertyList(bytes)) return std::nullopt;
  const PropertyListService* service = propertyListService();
  auto text = service != nullptr ? service->archivedString(bytes) : std::nullopt;
  return text && isValidUtf8(*text) ? text : std::nullopt;
}

}  // namespace quelto::platform
