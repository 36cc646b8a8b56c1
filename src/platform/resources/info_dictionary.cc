#include "platform/resources/info_dictionary.h"

#include "platform/bundle/bundle.h"
#include "platform/files/read_file.h"
#include "platform/resources/property_list.h"

namespace quelto::platform {
namespace {

/// Far above any information dictionary, which has a few kilobytes.
constexpr std::size_t maximumInfoSize = std::size_t{1} << 20;

}  // namespace

std::optional<std::string> infoText(const Bundle& bundle, const std::string& key) {
  const auto content = readFile(bundle.infoPath(), maximumInfoSize);
  const auto dictionary = content ? parsePropertyList(*content) : std::nullopt;
  return dictionary ? textAt(*dictionary, key) : std::nullopt;
}

std::optional<std::string> bundleIdentifier(const Bundle& bundle) {
  return infoText(bundle, "CFBundleIdentifier");
}

}  // namespace quelto::platform
