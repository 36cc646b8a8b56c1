#include "platform/user/group_container.h"

#include <sys/stat.h>

#include <algorithm>
#include <vector>

#include "platform/files/ownership.h"
#include "platform/files/private_folder.h"
#include "platform/user/environment.h"
#include "platform/user/user.h"

namespace quelto::platform {
namespace {

bool isGroupName(std::string_view group) {
  using namespace std::string_view_literals;
  // SECURITY: any of these would lead to a folder outside the one for groups.
  return !group.empty() && group != "." && group.find_first_of("/\0"sv) == group.npos &&
         group.find("..") == group.npos;
}

std::optional<std::string> runtimeFolder() {
  auto folder = environmentValue("XDG_RUNTIME_DIR");
  struct stat status {};
  if (!folder || !folder->starts_with('/') || ::stat(folder->c_str(), &status) != 0) return std::nullopt;
  return isWrittenByUsAlone(status) ? folder : std::nullopt;
}

/// The folders of ours on the way, from the top down, that of the group last; none when it has no place.
std::vector<std::string> wayTo(std::string_view group) {
  if (!isGroupName(group)) return {};
  if (const auto runtime = runtimeFolder()) {
    const std::string top = *runtime + "/quelto";
    return {top, (top + "/").append(group)};
  }
  const auto data = dataFolder();
  if (!data) return {};
  const std::string groups = *data + "/groups";
  return {*data, groups, (groups + "/").append(group)};
}

}  // namespace

std::optional<std::string> containerFolder(std::string_view group) {
  const auto way = wayTo(group);
  return !way.empty() && PrivateFolder::open(way.back()) ? std::optional(way.back()) : std::nullopt;
}

std::optional<std::string> makeContainerFolder(std::string_view group) {
  const auto way = wayTo(group);
  // Each by itself, since those above the one that is asked for are made but not checked.
  const auto isMade = [](const std::string& folder) { return !!PrivateFolder::openOrMake(folder); };
  return !way.empty() && std::ranges::all_of(way, isMade) ? std::optional(way.back()) : std::nullopt;
}

}  // namespace quelto::platform
