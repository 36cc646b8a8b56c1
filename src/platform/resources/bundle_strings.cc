#include "platform/resources/bundle_strings.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/bundle/bundle.h"
#include "platform/files/path_status.h"
#include "platform/files/read_file.h"
#include "platform/resources/info_dictionary.h"
#include "platform/user/environment.h"

namespace quelto::platform {
namespace {

constexpr std::string_view defaultTable = "Localizable";
constexpr const char* lastResort = "en";
/// The language of the "C" locale.
constexpr const char* untranslated = "en";

/// Far above any table that people write.
constexpr std::size_t maximumTableSize = std::size_t{16} << 20;

/// The absolute path without "." and "..", resolved in the text alone: the folder before a ".." need not
/// exist. (The standard library's paths pull in locales, which would slow down every start.)
std::string lexicallyNormal(std::string_view path) {
  std::string normal;
  while (!path.empty()) {
    path.remove_prefix(std::min(path.size(), path.find_first_not_of('/')));
    const std::string_view step = path.substr(0, path.find('/'));
    path.remove_prefix(step.size());
    if (step == "..") {
      normal.resize(normal.empty() ? 0 : normal.rfind('/'));
    } else if (!step.empty() && step != ".") {
      normal.append("/").append(step);
    }
  }
  return normal;
}

/// The language of a locale: "pt_BR" of "pt_BR.UTF-8@euro".
std::string languageOf(std::string_view locale) {
  return std::string(locale.substr(0, locale.find_first_of(".@")));
}

void appendLanguages(std::vector<std::string>& languages, std::string_view list) {
  while (!list.empty()) {
    const std::string_view entry = list.substr(0, list.find(':'));
    if (!entry.empty()) languages.push_back(languageOf(entry));
    list.remove_prefix(std::min(list.size(), entry.size() + 1));
  }
}

using Pairs = std::span<const std::pair<std::string_view, std::string_view>>;

std::optional<std::string_view> partnerOf(std::string_view name, Pairs pairs) {
  const auto found = std::ranges::find(pairs, name, &Pairs::value_type::first);
  return found != pairs.end() ? std::optional(found->second) : std::nullopt;
}

/// The names of the folders that suit a language, best first.
std::vector<std::string> localizationsFor(const std::string& language) {
  constexpr std::array<Pairs::value_type, 5> scripts{{{"zh-CN", "zh-Hans"},
                                                      {"zh-SG", "zh-Hans"},
                                                      {"zh-TW", "zh-Hant"},
                                                      {"zh-HK", "zh-Hant"},
                                                      {"zh-MO", "zh-Hant"}}};
  // What speakers of the language can read when there is nothing closer.
  constexpr std::array<Pairs::value_type, 2> relatives{{{"pt", "pt-BR"}, {"zh", "zh-Hans"}}};
  std::string name = language;
  std::ranges::replace(name, '_', '-');
  std::vector<std::string> names{name};
  if (const auto script = partnerOf(name, scripts)) names.emplace_back(*script);
  while (name.find('-') != std::string::npos) names.push_back(name.erase(name.rfind('-')));
  const bool isTraditional =
      std::ranges::any_of(names, [](const std::string& known) { return known == "zh-Hant"; });
  const auto relative = partnerOf(name, relatives);
  if (relative && !isTraditional) names.emplace_back(*relative);
  return names;
}

bool isPlainName(const std::string& name) { return !name.empty() && name.find('/') == std::string::npos; }

std::string chosenLocalization(const Bundle& bundle) {
  if (auto best = bestLocalization(bundle.resourceFolder(), preferredLanguages())) return *best;
  return infoText(bundle, "CFBundleDevelopmentRegion").value_or(lastResort);
}

}  // namespace

BundleStrings::BundleStrings(std::string resourceFolder, std::string localization)
    : resourceFolder_(std::move(resourceFolder)), localization_(std::move(localization)) {}

const BundleStrings& BundleStrings::ofMainBundle() {
  static const BundleStrings& strings =
      *new BundleStrings(Bundle::mainBundle().resourceFolder(), chosenLocalization(Bundle::mainBundle()));
  return strings;
}

std::string BundleStrings::localizedStringForKey(std::string_view key, std::string_view value,
                                                 std::string_view table) const {
  const StringsTable& entries = tableNamed(table.empty() ? defaultTable : table);
  if (const auto entry = entries.find(key); entry != entries.end()) return entry->second;
  return std::string(value.empty() ? key : value);
}

const StringsTable& BundleStrings::tableNamed(std::string_view name) const {
  const std::lock_guard lock(mutex_);
  if (const auto known = tables_.find(name); known != tables_.end()) return known->second;
  const std::string folder = lexicallyNormal(resourceFolder_) + "/";
  const std::string path =
      lexicallyNormal(folder + localization_ + ".lproj/" + std::string(name) + ".strings");
  // SECURITY: AUTH_LANGUAGE becomes part of the name; without this check it could have any file read as a
  // table.
  const bool isInside = !resourceFolder_.empty() && path.starts_with(folder);
  const auto content = isInside ? readFile(path, maximumTableSize) : std::nullopt;
  return tables_.emplace(name, content ? parseStringsTable(*content) : StringsTable()).first->second;
}

std::vector<std::string> preferredLanguages() {
  std::string locale;
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    locale = environmentValue(name).value_or("");
    if (!locale.empty()) break;
  }
  std::vector<std::string> languages;
  const std::string language = languageOf(locale);
  const bool isUntranslated = language.empty() || language == "C" || language == "POSIX";
  if (locale != "C" && locale != "POSIX")
    appendLanguages(languages, environmentValue("LANGUAGE").value_or(""));
  languages.push_back(isUntranslated ? untranslated : language);
  return languages;
}

std::optional<std::string> bestLocalization(const std::string& resourceFolder,
                                            std::span<const std::string> languages) {
  for (const std::string& language : languages) {
    for (const std::string& name : localizationsFor(language)) {
      const std::string folder = resourceFolder + "/" + name + ".lproj";
      if (isPlainName(name) && pathKind(folder) == PathKind::folder) return name;
    }
  }
  return std::nullopt;
}

}  // namespace quelto::platform
