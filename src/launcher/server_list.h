#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quelto::launcher {

struct ProcessValues;

/// Texts that do not stand in a list's text as they are needed; an element stays where it is once it is in
/// here.
using MadeTexts = std::deque<std::string>;

/// One line of the server list. Its texts are views into the list that it belongs to: a list may have very
/// many lines, and few of them matter to a run.
struct SSHServer {
  /// Trimmed and in lower case; never empty.
  std::string_view host;
  /// 22 when the line gives none or one that is no number. Not range-checked.
  std::int64_t port = 22;
  /// "" when the line gives none, like all that follow.
  std::string_view username;
  std::string_view identify;
  /// The ssh program to run.
  std::string_view command;
  /// Extra options for ssh, separated by single spaces.
  std::string_view parameters;

  /// Parses one line: host, port, user name, identity file, ssh program and parameters, separated by tabs,
  /// trailing ones left out at will. The port is taken as it stands, blanks make it no number. Tabs within
  /// the parameters become "|". Absent when the host is empty. The views point into the line and into `made`.
  [[nodiscard]] static std::optional<SSHServer> fromId(std::string_view id, MadeTexts& made);

  bool operator==(const SSHServer&) const = default;
};

/// The records of a list, in its order, with the text that they point into. Linear in the text's length.
class ServerList {
 public:
  ServerList() = default;
  /// One record per line; every Unicode line end counts, and lines without a host are passed over. A text
  /// that is not UTF-8 has no records.
  explicit ServerList(std::string text);

  [[nodiscard]] auto begin() const { return records_.begin(); }
  [[nodiscard]] auto end() const { return records_.end(); }
  [[nodiscard]] std::size_t size() const { return records_.size(); }

 private:
  /// On the heap, so that the views stay valid when the list is moved.
  std::unique_ptr<const std::string> text_;
  MadeTexts made_;
  std::vector<SSHServer> records_;
};

/// Replaces `servers` by the user's list. A list that is missing or cannot be read, that somebody else could
/// have written, or that is larger than 16 MiB, has no records.
void loadSSHServers(ProcessValues& values);

/// How a record meets a value that the command line gave.
enum class ServerMerge { fillIn, override_ };

/// `fillIn` when the value of SSH_TUNNEL is "yes", in any case and with blanks around it; else `override_`.
[[nodiscard]] ServerMerge serverMergeOf(const std::optional<std::string>& sshTunnel);

/// Merges every record for `_host`, in the order of the list, into `port`, `username`, `identify`,
/// `sshCommand` and `arguments`. Hosts are the same when their lower-case forms are canonically equal.
void mergeServers(ProcessValues& values, ServerMerge merge);

}  // namespace quelto::launcher
