#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quelto::util {

/// One source unit and the expanded revision keyword of its last change, "$Rev: 6963 $". The name begins with
/// "build_" (a unit of the tool) or "library_" (a unit of the shared code).
struct RevisionEntry {
  std::string_view name;
  std::string_view text;
};

/// The revisions of all units, and the build number derived from them. Main thread only.
class Version {
 public:
  /// Reads the tool's own registry, or the given one, which must outlive this object.
  Version();
  explicit Version(std::span<const RevisionEntry> registry) : registry_(registry) {}

  /// Raises `build` to the highest revision and returns it with a line per unit ("Unt_strings: 7038"), the
  /// lines in byte order. Entries that are not revision keywords are skipped.
  [[nodiscard]] std::pair<std::int64_t, std::vector<std::string>> calculate() const;

  /// The highest revision seen so far; 0 at first.
  static std::int64_t build;

 private:
  [[nodiscard]] std::pair<std::int64_t, std::vector<std::string>> unit(std::string_view prefix) const;

  std::span<const RevisionEntry> registry_;
};

}  // namespace quelto::util
