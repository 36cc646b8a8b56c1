#include "ini/ordered_map.h"

#include <functional>

#include "platform/text/utf8.h"

namespace quelto::ini {

std::uint32_t nameHash(std::string_view name) {
  const bool isAscii = platform::isAscii(name);
  const std::size_t hash =
      isAscii ? std::hash<std::string_view>()(name) : std::hash<std::string>()(platform::canonicalForm(name));
  return static_cast<std::uint32_t>(hash ^ (hash >> 32U));
}

}  // namespace quelto::ini
