#include "keychain/item_store.h"

#include <array>

namespace quelto::keychain {
namespace {

constexpr std::array<std::string_view, 4> genericPasswordIdentity{"account", "service", "generic", "type"};
constexpr std::array<std::string_view, 7> internetPasswordIdentity{"account", "server",   "port",  "protocol",
                                                                   "path",    "authtype", "domain"};
constexpr std::array<std::string_view, 4> keyIdentity{"tag", "keyclass", "keytype", "bits"};

}  // namespace

std::span<const std::string_view> identityOf(ItemClass itemClass) {
  switch (itemClass) {
    case ItemClass::genericPassword:
      return genericPasswordIdentity;
    case ItemClass::internetPassword:
      return internetPasswordIdentity;
    case ItemClass::key:
      break;
  }
  return keyIdentity;
}

std::string_view valueOrEmpty(const Attributes& attributes, std::string_view name) {
  const auto found = attributes.find(name);
  return found != attributes.end() ? std::string_view(found->second) : std::string_view();
}

}  // namespace quelto::keychain
