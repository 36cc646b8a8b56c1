#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quelto::launcher {

/// The options of ssh whose value is the next argument and that are passed on with it. -i, -l and -p are not
/// among them: their values are ours to complete.
constexpr std::array<std::string_view, 18> sshValueOptions{"-B", "-b", "-c", "-D", "-E", "-e",
                                                           "-F", "-I", "-J", "-L", "-m", "-O",
                                                           "-o", "-Q", "-R", "-S", "-W", "-w"};

struct ParsedArguments {
  /// What ssh gets unchanged, each option followed by its value where it takes one.
  std::vector<std::string> options;
  std::vector<std::string> command;
  std::string username;
  std::int64_t port = 0;
  std::string identify;
  std::string destination;
  std::string sshCommand;
  /// The application group of -Z; absent when it was not given.
  std::optional<std::string> group_Id;
};

/// Splits ssh's command line (`words`: without the program name). Every word is trimmed of whitespace and
/// line ends first; other bytes stay as they are. -z names the ssh program (default: `foundSsh`), -Z the
/// application group. A port that is no number is 22. Of an option given twice the last one counts; an option
/// whose value is missing at the end changes nothing. The first word after the destination begins the
/// command.
[[nodiscard]] ParsedArguments parseArguments(std::span<const std::string> words, std::string foundSsh);

}  // namespace quelto::launcher
