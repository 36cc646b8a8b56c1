#pragma once

#include <string>

namespace quelto::launcher {

/// What the tool prints when it is run without arguments: its title, the given version and the revision of
/// every unit. The title is in the system's language, so this comes before AUTH_LANGUAGE is applied.
[[nodiscard]] std::string banner(const std::string& full_version);

}  // namespace quelto::launcher
