#include "platform/user/environment.h"

#include <unistd.h>

#include <cstdlib>

namespace quelto::platform {

std::optional<std::string> environmentValue(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr) return std::nullopt;
  return value;
}

std::vector<std::string> environmentEntries() {
  std::vector<std::string> entries;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) entries.emplace_back(*entry);
  return entries;
}

}  // namespace quelto::platform
