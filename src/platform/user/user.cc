#include "platform/user/user.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "platform/user/environment.h"

namespace quelto::platform {
namespace {

/// Entries of large directory services exceed any fixed buffer; a database that needs more than this is
/// broken.
constexpr std::size_t maximumEntrySize = std::size_t{1} << 20;

std::string textOrEmpty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

std::optional<PasswordEntry> passwordEntryOfCurrentUser() {
  passwd entry{};
  passwd* found = nullptr;
  for (std::vector<char> buffer(1024); buffer.size() <= maximumEntrySize; buffer.resize(buffer.size() * 2)) {
    const int error = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
    if (error == 0 && found != nullptr) {
      return PasswordEntry{.name = textOrEmpty(entry.pw_name), .homeFolder = textOrEmpty(entry.pw_dir)};
    }
    if (error != ERANGE && error != EINTR) break;
  }
  return std::nullopt;
}

std::string userName() {
  if (const auto entry = passwordEntryOfCurrentUser()) return entry->name;
  return environmentValue("LOGNAME").value_or("");
}

std::optional<std::string> homeFolder() {
  const auto isAbsolute = [](const std::string& path) { return path.starts_with('/'); };
  if (auto home = environmentValue("HOME"); home && isAbsolute(*home)) return home;
  if (auto entry = passwordEntryOfCurrentUser(); entry && isAbsolute(entry->homeFolder)) {
    return std::move(entry->homeFolder);
  }
  return std::nullopt;
}

std::optional<std::string> dataFolder() {
  if (const auto data = environmentValue("XDG_DATA_HOME"); data && data->starts_with('/'))
    return *data + "/quelto";
  const auto home = homeFolder();
  return home ? std::optional(*home + "/.local/share/quelto") : std::nullopt;
}

}  // namespace quelto::platform
