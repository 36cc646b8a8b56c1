#include "util/paths.h"

#include <algorithm>
#include <array>
#include <vector>

#include "platform/bundle/bundle.h"
#include "platform/files/path_status.h"
#include "platform/resources/info_dictionary.h"
#include "platform/text/unicode.h"
#include "platform/user/user.h"
#include "util/strings.h"

namespace quelto::util {
namespace {

constexpr std::array<std::string_view, 7> builtInSchemes{"http", "https", "svn", "svn+ssh",
                                                         "ssh",  "file",  "git"};

std::string prefixOf(std::string_view scheme) {
  return std::string(scheme) + (scheme == "file" ? ":///" : "://");
}

/// The prefix of the first scheme that the base begins with; absent when it begins with none of them.
std::optional<std::string> schemePrefix(std::string_view base, const std::set<std::string>& extraSchemes) {
  const std::string lowerCaseBase = platform::lowercased(base);
  const auto begins = [&](const std::string& prefix) {
    // Compared by character: a combining mark after the prefix makes its last "/" a different character.
    const CharacterCount range{.from = 0, .count = characterCount(prefix)};
    return platform::isCanonicallyEqual(substr(lowerCaseBase, range), prefix);
  };
  std::vector<std::string> schemes(builtInSchemes.begin(), builtInSchemes.end());
  schemes.insert(schemes.end(), extraSchemes.begin(), extraSchemes.end());
  for (const std::string& scheme : schemes) {
    if (std::string prefix = prefixOf(scheme); begins(prefix)) return prefix;
  }
  return std::nullopt;
}

}  // namespace

std::optional<PathType> PathType::fromRawValue(int rawValue) {
  if (rawValue < unknown || rawValue > file) return std::nullopt;
  return PathType(static_cast<Value>(rawValue));
}

std::optional<PathType> PathType::from(const std::string& path) {
  const auto kind = platform::pathKind(path);
  if (!kind) return std::nullopt;
  return kind == platform::PathKind::folder ? folder : file;
}

bool isFile(const std::string& path) { return PathType::from(path) == PathType(PathType::file); }

std::string lastPathComponent(std::string_view path) {
  const std::size_t last = path.find_last_not_of('/');
  if (last == std::string_view::npos) return path.empty() ? "" : "/";
  const std::size_t slash = path.find_last_of('/', last);
  const std::size_t begin = slash == std::string_view::npos ? 0 : slash + 1;
  return std::string(path.substr(begin, last + 1 - begin));
}

std::string appendingPathComponent(std::string_view path, std::string_view component) {
  std::string joined;
  joined.reserve(path.size() + 1 + component.size());
  const auto append = [&joined](char byte) {
    if (byte != '/' || !joined.ends_with('/')) joined.push_back(byte);
  };
  std::ranges::for_each(path, append);
  if (!path.empty()) append('/');
  std::ranges::for_each(component, append);
  if (joined.size() > 1 && joined.ends_with('/')) joined.pop_back();
  return joined;
}

std::string appendPathComponent(std::string_view base, std::string_view component,
                                const std::optional<std::set<std::string>>& extraSchemes) {
  std::string joined = appendingPathComponent(base, component);
  const auto prefix = schemePrefix(base, extraSchemes ? *extraSchemes : svnExtraSSHSchemes());
  if (!prefix) return joined;
  const std::int64_t length = characterCount(*prefix);
  const std::int64_t start = *prefix == "file:///" ? length - 2 : length - 1;
  return *prefix + std::string(substr(joined, CharactersTo{.from = start, .to = -1, .trim = true}));
}

std::set<std::string>& svnExtraSSHSchemes() {
  static auto& schemes = *new std::set<std::string>;
  return schemes;
}

std::string groupId() {
  return groupId(platform::bundleIdentifier(platform::Bundle::mainBundle()).value_or(""));
}

std::string groupId(std::string_view bundleIdentifier) {
  const std::size_t dot = bundleIdentifier.rfind('.');
  return std::string(bundleIdentifier.substr(0, dot == std::string_view::npos ? 0 : dot));
}

std::string appName() {
  return platform::infoText(platform::Bundle::mainBundle(), "CFBundleName").value_or("");
}

std::string userHomePath() {
  const auto entry = platform::passwordEntryOfCurrentUser();
  return entry ? entry->homeFolder : "";
}

}  // namespace quelto::util
