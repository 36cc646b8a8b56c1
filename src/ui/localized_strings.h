#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quelto::platform {
class BundleStrings;
}

namespace quelto::ui {

/// The language of every localized text, such as "de"; the system's when absent or empty. Written once at
/// start-up, after the program title is known, and only read from then on.
extern std::optional<std::string> globalCustomLanguage;

/// The table to search after the one that was asked for; empty: the bundle's "Localizable".
extern std::string_view defaultGlobalLocalizedTable;

/// The text of a key from the table asked for, then from the default table, first in the language of this
/// run, then in English; `value` when none of them has the key. An empty table name means the default table.
/// A name that begins with "." is a path in the bundle, and only this table is searched. Lines that a table
/// continues with a backslash are joined. Never fails; thread-safe.
[[nodiscard]] std::string localizedString(std::string_view name, std::string_view table,
                                          std::string_view value);

/// The same in given tables.
[[nodiscard]] std::string localizedString(const platform::BundleStrings& strings, std::string_view name,
                                          std::string_view table, std::string_view value);

}  // namespace quelto::ui
