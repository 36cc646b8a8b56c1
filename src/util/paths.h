#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

/// Helpers on paths, and who this tool is. Nothing here fails; every function is thread-safe.
namespace quelto::util {

/// What stands at a path. Comparable and hashable by its raw value.
class PathType {
 public:
  enum Value : int { unknown = 0, folder = 1, file = 2 };

  constexpr PathType(Value value) : value_(value) {}  // NOLINT(google-explicit-constructor)

  /// Absent for any raw value other than 0, 1 and 2.
  [[nodiscard]] static std::optional<PathType> fromRawValue(int rawValue);

  /// Asks the file system, symbolic links followed: `folder`, `file` for anything else that exists, absent
  /// for what does not. Never `unknown`.
  [[nodiscard]] static std::optional<PathType> from(const std::string& path);

  [[nodiscard]] constexpr int rawValue() const { return value_; }
  friend constexpr bool operator==(PathType, PathType) = default;

 private:
  Value value_;
};

/// Whether something other than a folder stands at the path.
[[nodiscard]] bool isFile(const std::string& path);

/// "b" for "a/b" and for "a/b/"; "/" for the root; "" for "".
[[nodiscard]] std::string lastPathComponent(std::string_view path);

/// Joins with exactly one "/", turns every run of "/" into one and drops a trailing one (but the root's). An
/// empty base adds no "/" of its own.
[[nodiscard]] std::string appendingPathComponent(std::string_view path, std::string_view component);

/// Like `appendingPathComponent`, but keeps the "//" behind a known URL scheme, which the result has in lower
/// case. Known are http, https, svn, svn+ssh, ssh, file, git and the extra ones (names without "://"); when
/// those are absent, the ones in `svnExtraSSHSchemes`.
[[nodiscard]] std::string appendPathComponent(
    std::string_view base, std::string_view component,
    const std::optional<std::set<std::string>>& extraSchemes = std::nullopt);

/// URL schemes of the user's own tunnels; empty at the start. Made once, also when threads race for it, and
/// never destroyed. Whoever changes it orders that against the readers.
[[nodiscard]] std::set<std::string>& svnExtraSSHSchemes();

/// The bundle identifier without its last piece: "one.two" for "one.two.tool", "" for one without "." and
/// when there is none.
[[nodiscard]] std::string groupId();
/// The same of a given identifier.
[[nodiscard]] std::string groupId(std::string_view bundleIdentifier);

/// "CFBundleName" of the bundle, else "".
[[nodiscard]] std::string appName();

/// The home folder of the password database (`$HOME` is not asked), else "".
[[nodiscard]] std::string userHomePath();

}  // namespace quelto::util

template <>
struct std::hash<quelto::util::PathType> {
  std::size_t operator()(quelto::util::PathType type) const noexcept {
    return std::hash<int>()(type.rawValue());
  }
};
