#pragma once

#include <string_view>

/// Where the crash reports of the suite's programs are received: the socket with this file name in the
/// container of the group whose identifier is `util::builtInGroupId` and this suffix.
namespace quelto::crash {

inline constexpr std::string_view socketGroupSuffix = ".comm";
inline constexpr std::string_view socketFileName = "crash";

}  // namespace quelto::crash
