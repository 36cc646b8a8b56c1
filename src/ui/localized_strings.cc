#include "ui/localized_strings.h"

#include <vector>

#include "platform/resources/bundle_strings.h"
#include "util/strings.h"

namespace quelto::ui {
namespace {

constexpr std::string_view bundleDefaultTable = "Localizable";
constexpr std::string_view continuation = " \\\n";

/// Joins lines that end in " \", as a table continues them.
std::string filterContinuation(std::string_view value) {
  std::string joined;
  for (bool isFirst = true;; isFirst = false) {
    const std::size_t end = value.find(continuation);
    const std::string_view piece = value.substr(0, end);
    joined += isFirst ? piece : util::ltrim(piece, {"\n", "\r", "\t", " ", "\r\n"});
    if (end == std::string_view::npos) return joined;
    value.remove_prefix(end + continuation.size());
  }
}

struct Found {
  std::string text;
  bool found;
};

/// Asks one table. An entry that equals its own key cannot be told from a missing one when there is no
/// default.
Found localizedString(const platform::BundleStrings& strings, std::string_view name, std::string_view value,
                      const std::string& table) {
  std::string text = filterContinuation(strings.localizedStringForKey(name, value, table));
  if (value.empty()) {
    if (text == name) return {.text = "", .found = false};
    return {.text = std::move(text), .found = true};
  }
  if (text != value) return {.text = std::move(text), .found = true};
  // The entry may simply equal the default.
  return {.text = std::string(value), .found = strings.localizedStringForKey(name, "", table) != name};
}

std::string inLanguage(std::string_view language, std::string_view table) {
  return "../" + std::string(language) + ".lproj/" + std::string(table);
}

std::string_view orBundleDefault(std::string_view table) {
  return table.empty() ? bundleDefaultTable : table;
}

/// The tables to ask, in order.
std::vector<std::string> tablesFor(std::string_view table) {
  if (table.starts_with('.')) return {std::string(table)};
  const std::string_view wanted = orBundleDefault(table);
  const std::string_view second = orBundleDefault(defaultGlobalLocalizedTable);
  std::vector<std::string> tables;
  const bool hasLanguage = globalCustomLanguage && !globalCustomLanguage->empty();
  tables.push_back(hasLanguage ? inLanguage(*globalCustomLanguage, wanted) : std::string(table));
  if (wanted != second) {
    tables.push_back(hasLanguage ? inLanguage(*globalCustomLanguage, second)
                                 : std::string(defaultGlobalLocalizedTable));
  }
  tables.push_back(inLanguage("en", wanted));
  if (wanted != second) tables.push_back(inLanguage("en", second));
  return tables;
}

}  // namespace

constinit std::optional<std::string> globalCustomLanguage;
constinit std::string_view defaultGlobalLocalizedTable;

std::string localizedString(std::string_view name, std::string_view table, std::string_view value) {
  return localizedString(platform::BundleStrings::ofMainBundle(), name, table, value);
}

std::string localizedString(const platform::BundleStrings& strings, std::string_view name,
                            std::string_view table, std::string_view value) {
  if (name.empty()) return std::string(value);
  for (const std::string& candidate : tablesFor(table)) {
    Found result = localizedString(strings, name, value, candidate);
    if (result.found) return std::move(result.text);
  }
  return std::string(value);
}

}  // namespace quelto::ui
