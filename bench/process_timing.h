#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace quelto::bench {

using Microseconds = std::chrono::duration<double, std::micro>;

/// One command of a comparison.
struct Command {
  std::string name;
  /// The program's path, then its arguments.
  std::vector<std::string> words;
  /// The whole environment, "NAME=value" each.
  std::vector<std::string> environment;
};

/// Wall times of one thing that was run many times.
struct Timing {
  Microseconds median;
  Microseconds p10;
  Microseconds p90;
};

/// Of at least one time, in any order.
[[nodiscard]] Timing timingOf(std::vector<Microseconds> times);

/// Runs the command as `timeInTurn` does, once, and returns its time.
Microseconds runOnce(const Command& command);

/// Runs the commands in turn, A B C A B C ..., `rounds` times each after some rounds that do not count, with
/// the standard streams on the null device, and returns for each, in the same order, the timing from its
/// spawn until its end has been waited for. Throws std::runtime_error when a command cannot be started, ends
/// with another status than 0 (the time of a command that fails says nothing) or has not ended after 60
/// seconds. Takes SIGALRM for itself.
[[nodiscard]] std::vector<Timing> timeInTurn(const std::vector<Command>& commands, int rounds);

/// The same, and prints a row for each command, compared with the first one.
std::vector<Timing> compareInTurn(const std::string& title, const std::vector<Command>& commands, int rounds);

}  // namespace quelto::bench
