#pragma once

#include <optional>
#include <string>

namespace quelto::platform {

/// The password database's entry of the real user.
struct PasswordEntry {
  std::string name;
  std::string homeFolder;
};

/// Absent when the database has no entry for the user or cannot be asked. Thread-safe.
[[nodiscard]] std::optional<PasswordEntry> passwordEntryOfCurrentUser();

/// The login name: from the password database, else LOGNAME, else the empty text. `$USER` is not used, since
/// any program between the login and this process may have changed it.
[[nodiscard]] std::string userName();

/// `$HOME` when it is an absolute path, else the password database's home folder; absent when neither is
/// an absolute path.
[[nodiscard]] std::optional<std::string> homeFolder();

/// The folder for what this program keeps for the user: "quelto" in `$XDG_DATA_HOME` when that is an absolute
/// path, else in ".local/share" of the home folder; absent without a home folder. Not created here.
[[nodiscard]] std::optional<std::string> dataFolder();

}  // namespace quelto::platform
