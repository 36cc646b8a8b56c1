#pragma once

#include <string>
#include <vector>

#include "keychain/sec_dictionary.h"

namespace quelto::items {

/// An access list of this name, of those paths where something is, in their order; null when nothing is at
/// any of them. Thread-safe.
[[nodiscard]] keychain::SecAccessRef accessListOf(const std::string& accessName,
                                                  const std::vector<std::string>& trustedAppPaths);

}  // namespace quelto::items
