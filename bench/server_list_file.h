#pragma once

#include <filesystem>
#include <string>

namespace quelto::bench {

/// The spelling of the host names in a server list.
enum class HostNames { ascii, nonAscii };

/// A home folder of its own, removed with everything in it by the destructor. Throws when it cannot be made.
class TemporaryHome {
 public:
  TemporaryHome();
  ~TemporaryHome();
  TemporaryHome(const TemporaryHome&) = delete;
  TemporaryHome& operator=(const TemporaryHome&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] std::filesystem::path serverList() const { return path_ / ".quelto" / "sshservers"; }

  /// Replaces the user's server list by one of `lines` lines with all six fields. Throws when it cannot be
  /// written.
  void writeServerList(std::size_t lines, HostNames hostNames) const;

 private:
  std::filesystem::path path_;
};

/// The host name of the list's line `line`, counted from 0.
[[nodiscard]] std::string hostOfLine(std::size_t line, HostNames hostNames);

}  // namespace quelto::bench
