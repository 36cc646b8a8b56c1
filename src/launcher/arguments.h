#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quelto::launcher {

/// The options of ssh that are passed on together with the next word, which is their value. -i, -l and -p are
/// missing because the tool itself completes their values.
constexpr std::array<std::string_view, 18> sshValueOptions{"-B", "-b", "-c", "-D", "-E", "-e",
                                                           "-F", "-I", "-J", "-L", "-m", "-O",
                                                           "-o", "-Q", "-R", "-S", "-W", "-w"};

struct ParsedArguments {
  /// Passed on to ssh unchanged, each option followed by its value if it takes one.
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

/// Splits ssh's command line (`words`: without the program name). Every word is first trimmed of whitespace
/// and line ends; all other bytes are kept. -z names the ssh program (default: `foundSsh`), -Z the
/// application group. A port that is not a number becomes 22. The last occurrence of an option counts; an
/// option at the end whose value is missing is ignored. The first word after the destination begins the
/// command. Never fails.
[[nodiscard]] ParsedArguments parseArguments(std::span<const std::string> words, std::string foundSsh);

}  // namespace quelto::launcher
