#include "items/access_list.h"

#include <utility>

#include "keychain/sec_item.h"

namespace quelto::items {

keychain::SecAccessRef accessListOf(const std::string& accessName,
                                    const std::vector<std::string>& trustedAppPaths) {
  std::vector<keychain::SecTrustedApplication> applications;
  for (const std::string& path : trustedAppPaths) {
    keychain::SecTrustedApplication application;
    if (keychain::SecTrustedApplicationCreateFromPath(path, application) == keychain::errSecSuccess) {
      applications.push_back(std::move(application));
    }
  }
  keychain::SecAccessRef access;
  // Without its list the item is still better than no item.
  if (!applications.empty()) (void)keychain::SecAccessCreate(accessName, applications, access);
  return access;
}

}  // namespace quelto::items
