#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quelto::platform {

/// The value of an environment variable, its bytes unchanged; absent when the variable is not set.
/// This process never changes its environment, so any thread may call it.
[[nodiscard]] std::optional<std::string> environmentValue(const char* name);

/// Every entry of this process's environment, including those without "=".
[[nodiscard]] std::vector<std::string> environmentEntries();

}  // namespace quelto::platform
