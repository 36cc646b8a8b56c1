#pragma once

#include <string_view>

/// What the programs of the suite have agreed on.
namespace quelto::util {

/// The application group that they are built for; a request may name another one.
inline constexpr std::string_view builtInGroupId = "org.quelto.suite";

}  // namespace quelto::util
