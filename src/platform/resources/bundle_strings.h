#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/resources/strings_table.h"

namespace quelto::platform {

class Bundle;

/// The string tables of a bundle: a folder per language, "de.lproj", with a file per table, "consts.strings".
/// A table is read and parsed once; all calls are thread-safe.
class BundleStrings {
 public:
  /// Tables below the resource folder; `localization` is the language chosen, such as "pt-BR".
  BundleStrings(std::string resourceFolder, std::string localization);

  /// The tables of the running program's bundle, in the system's language. Created on first use, never
  /// destroyed.
  [[nodiscard]] static const BundleStrings& ofMainBundle();

  /// The entry for the key in the named table ("Localizable" for an empty name) of the chosen language.
  /// Without an entry the given value, or the key itself when the value is empty. A table name may be a path
  /// relative to the chosen language's folder, "../fr.lproj/consts"; one that leaves the resource folder has
  /// no entries. Never fails: a missing table has no entries, a broken one has those before the break.
  [[nodiscard]] std::string localizedStringForKey(std::string_view key, std::string_view value,
                                                  std::string_view table) const;

  [[nodiscard]] const std::string& localization() const { return localization_; }

 private:
  [[nodiscard]] const StringsTable& tableNamed(std::string_view name) const;

  std::string resourceFolder_;
  std::string localization_;
  mutable std::mutex mutex_;
  /// Entries are never moved or removed, so that a reference to one stays valid without the lock.
  mutable std::map<std::string, StringsTable, std::less<>> tables_;
};

/// The languages that the environment asks for, in order and without charset and modifier ("pt_BR"): those of
/// LANGUAGE, then that of the first of LC_ALL, LC_MESSAGES and LANG that is not empty. This last one is "en"
/// when no locale is set or it is "C" or "POSIX"; these two, without a charset, also turn LANGUAGE off.
[[nodiscard]] std::vector<std::string> preferredLanguages();

/// The best match among the folder's "*.lproj": for each wanted language, in order, the one with its region
/// or script ("pt-BR", "zh-Hans" for zh_CN and zh_SG), then the bare one, then one that its speakers can read
/// ("pt-BR" for pt_PT, "zh-Hans" for Chinese that is not in the traditional script). Absent when there is
/// none.
[[nodiscard]] std::optional<std::string> bestLocalization(const std::string& resourceFolder,
                                                          std::span<const std::string> languages);

}  // namespace quelto::platform
