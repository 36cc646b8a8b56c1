#include "platform/files/replace_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <optional>

#include "platform/files/ownership.h"
#include "platform/files/temporary_file.h"
#include "platform/files/unique_fd.h"

namespace quelto::platform {
namespace {

constexpr int maximumLinks = 8;

struct Place {
  UniqueFd folder;
  std::string name;
};

/// Absent when the folder cannot be opened or the path ends in no name.
std::optional<Place> placeOf(const std::string& path, int above) {
  if (path.find('\0') != std::string::npos) return std::nullopt;
  const std::size_t nameAt = path.rfind('/') + 1;  // 0 without a slash
  const std::string folder = nameAt == 0 ? "." : path.substr(0, nameAt);
  Place place{.folder = UniqueFd(::openat(above, folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
              .name = path.substr(nameAt)};
  const bool isName = !place.name.empty() && place.name != "." && place.name != "..";
  return place.folder && isName ? std::optional(std::move(place)) : std::nullopt;
}

/// Where the link of this name leads; absent when it is no link of ours.
std::optional<std::string> ownLinkAt(const Place& place) {
  const UniqueFd opened(::openat(place.folder.get(), place.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  if (!opened || ::fstat(opened.get(), &status) != 0 || !isOwnLink(status)) return std::nullopt;
  std::array<char, PATH_MAX> target{};
  // The link that was checked, whatever has its name by now.
  const ssize_t size = ::readlinkat(opened.get(), "", target.data(), target.size());
  return size > 0 ? std::optional(std::string(target.data(), static_cast<std::size_t>(size))) : std::nullopt;
}

}  // namespace

bool replaceFile(const std::string& path, std::string_view content, Links links) {
  std::optional<Place> place = placeOf(path, AT_FDCWD);
  for (int count = 0; place && links == Links::ownFollowed && count < maximumLinks; ++count) {
    const auto target = ownLinkAt(*place);
    if (!target) break;
    place = placeOf(*target, place->folder.get());
  }
  if (!place) return false;
  // What is at the place now is judged when it is about to be replaced.
  TemporaryFile file(place->folder.get(), place->name);
  return file.write(content) &&
         file.replace(links == Links::replaced ? Replaces::anything : Replaces::ownFile);
}

}  // namespace quelto::platform
