#pragma once

#include <cstdint>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quelto::launcher {

/// The server list, relative to the home folder.
constexpr std::string_view settingsFile = ".quelto/sshservers";

/// Keeps the texts that a list needs and its file does not hold, such as a host name in lower case. They do
/// not move, and are freed all at once, since a long list needs very many.
class MadeTexts {
 public:
  /// A copy of the text that lives as long as this object.
  [[nodiscard]] std::string_view add(std::string_view text);

 private:
  std::pmr::monotonic_buffer_resource memory_;
};

/// One line of the server list. Its texts are views, because a list may have very many lines and a run needs
/// few of them.
struct SSHServer {
  /// Trimmed and in lower case; never empty.
  std::string_view host;
  /// 22 when the line gives none or one that is not a number. Not range-checked.
  std::int64_t port = 22;
  /// This and all that follow are "" when the line gives none.
  std::string_view username;
  std::string_view identify;
  /// The ssh program to run.
  std::string_view command;
  /// Extra options for ssh, separated by single spaces.
  std::string_view parameters;

  /// Parses one line: host, port, user name, identity file, ssh program and parameters, separated by tabs;
  /// trailing fields may be missing. The port is not trimmed, so a blank makes it no number. Tabs in the
  /// parameters become "|". Absent when the host is empty. The result points into the line and into `made`.
  [[nodiscard]] static std::optional<SSHServer> fromId(std::string_view id, MadeTexts& made);

  bool operator==(const SSHServer&) const = default;
};

/// The records of a list, in file order, and the text that they point into.
class ServerList {
 public:
  /// One record per line, in linear time. Every Unicode line end separates lines; lines without a host are
  /// skipped. No records when the text is not UTF-8 or has more than 1,000,000 of them.
  explicit ServerList(std::string text);
  ServerList(const ServerList&) = delete;
  ServerList& operator=(const ServerList&) = delete;

  [[nodiscard]] auto begin() const { return records_.begin(); }
  [[nodiscard]] auto end() const { return records_.end(); }
  [[nodiscard]] std::size_t size() const { return records_.size(); }

 private:
  const std::string text_;
  MadeTexts made_;
  std::vector<SSHServer> records_;
};

/// The user's list. A file that is missing, cannot be read, is larger than 16 MiB or could have been written
/// by another user has no records.
[[nodiscard]] ServerList loadSSHServers();

}  // namespace quelto::launcher
