#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

/// Path helpers, and the tool's own identity. No function fails, and all are thread-safe.
namespace quelto::util {

/// What a path leads to. Comparable and hashable by its raw value.
class PathType {
 public:
  enum Value : int { unknown = 0, folder = 1, file = 2 };

  constexpr PathType(Value value) : value_(value) {}  // NOLINT(google-explicit-constructor)

  /// Absent for any raw value other than 0, 1 and 2.
  [[nodiscard]] static std::optional<PathType> fromRawValue(int rawValue);

  /// Asks the file system, following symbolic links: `folder` or, for anything else that exists, `file`.
  /// Absent when nothing exists at the path. Never `unknown`.
  [[nodiscard]] static std::optional<PathType> from(const std::string& path);

  [[nodiscard]] constexpr int rawValue() const { return value_; }
  friend constexpr bool operator==(PathType, PathType) = default;

 private:
  Value value_;
};

/// Whether the path leads to something other than a folder.
[[nodiscard]] bool isFile(const std::string& path);

/// "b" for "a/b" and for "a/b/"; "/" for the root; "" for "".
[[nodiscard]] std::string lastPathComponent(std::string_view path);

/// Joins the two with exactly one "/", collapses every run of "/" into one and drops a trailing "/", except
/// for the root. With an empty base no "/" is added.
[[nodiscard]] std::string appendingPathComponent(std::string_view path, std::string_view component);

/// Like `appendingPathComponent`, but keeps the "//" after a known URL scheme and puts the scheme in lower
/// case. Known are http, https, svn, svn+ssh, ssh, file, git and `extraSchemes` (names without "://") or,
/// when that is absent, `svnExtraSSHSchemes`.
[[nodiscard]] std::string appendPathComponent(
    std::string_view base, std::string_view component,
    const std::optional<std::set<std::string>>& extraSchemes = std::nullopt);

/// URL schemes of the user's own tunnels; empty at first. Created once, even when several threads ask for it
/// at the same time, and never destroyed. A caller that changes it must synchronise with the readers.
[[nodiscard]] std::set<std::string>& svnExtraSSHSchemes();

/// The bundle identifier without its last part: "one.two" for "one.two.tool"; "" when it has no "." or there
/// is none.
[[nodiscard]] std::string groupId();
/// The same for a given identifier.
[[nodiscard]] std::string groupId(std::string_view bundleIdentifier);

/// "CFBundleName" of the bundle, else "".
[[nodiscard]] std::string appName();

/// The home folder from the password database, else ""; `$HOME` is ignored.
[[nodiscard]] std::string userHomePath();

}  // namespace quelto::util

template <>
struct std::hash<quelto::util::PathType> {
  std::size_t operator()(quelto::util::PathType type) const noexcept {
    return std::hash<int>()(type.rawValue());
  }
};
