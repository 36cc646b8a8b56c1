#include "launcher/ssh_locator.h"

#include "platform/bundle/bundle.h"
#include "platform/children/child_options.h"
#include "platform/files/path_status.h"
#include "platform/text/utf8.h"
#include "platform/user/environment.h"
#include "util/strings.h"

namespace quelto::launcher {
namespace {

constexpr const char* fallbackSsh = "/usr/bin/ssh";

/// In bytes; far more than a path and the blank lines around it need.
constexpr std::size_t maximumOutput = std::size_t{1} << 20;

bool isProgram(const std::string& path) {
  return platform::pathKind(path) == platform::PathKind::other && platform::isExecutable(path);
}

}  // namespace

bool isThisTool(const std::string& path) {
  const auto ownPath = platform::Bundle::mainBundle().executablePath();
  return ownPath && platform::isSameFile(path, *ownPath);
}

SshLookup::SshLookup() {
  const std::string shell = platform::environmentValue("SHELL").value_or("/bin/sh");
  // SECURITY: a SHELL that is this tool would start itself without end.
  if (isThisTool(shell)) return;
  isStarted_ = shell_.start({.program = shell,
                             .arguments = {"-l", "-c", "which ssh"},
                             .environment = platform::environmentEntries()});
}

std::string SshLookup::path() {
  if (!isStarted_) return fallbackSsh;
  const auto [status, output] = shell_.finish(maximumOutput);
  if (status != 0 || !output || !platform::isValidUtf8(*output)) return fallbackSsh;
  std::string path(util::trim(*output));
  // SECURITY: this tool may be installed under the name ssh and would then start itself without end.
  if (!isProgram(path) || isThisTool(path)) return fallbackSsh;
  return path;
}

std::string find() { return SshLookup().path(); }

}  // namespace quelto::launcher
