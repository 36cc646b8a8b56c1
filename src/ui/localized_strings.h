#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quelto::platform {
class BundleStrings;
}

namespace quelto::ui {

/// The language that every localized text is asked for in, such as "de"; absent or empty: the system's.
/// Written once at start-up, after the program title is known, and only read from then on.
extern std::optional<std::string> globalCustomLanguage;

/// The table that is searched after the one that was asked for; empty: the bundle's "Localizable".
extern std::string_view defaultGlobalLocalizedTable;

/// The text of a key: from the table asked for, then the default table, in the language of the run, then both
/// in English; `value` when none of them has the key. An empty table name means the default table. A table
/// name that begins with "." is one path for the bundle, searched alone. Lines that a table continues with a
/// backslash are joined. Never fails; thread-safe.
[[nodiscard]] std::string localizedString(std::string_view name, std::string_view table,
                                          std::string_view value);

/// The same in given tables.
[[nodiscard]] std::string localizedString(const platform::BundleStrings& strings, std::string_view name,
                                          std::string_view table, std::string_view value);

}  // namespace quelto::ui
