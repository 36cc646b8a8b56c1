#include "launcher/program.h"

#include "platform/bundle/bundle.h"
#include "util/paths.h"
#include "util/version.h"

namespace quelto::launcher {
namespace {

/// The folder that holds the file or folder at an absolute path.
std::string parentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

Program thisProgram() {
  Program program;
  if (const auto executable = platform::Bundle::mainBundle().executablePath()) {
    program.resourceUrl = parentOf(*executable);
    program.mainExecutable = util::appendingPathComponent(parentOf(program.resourceUrl), "MacOS/quelto");
  }
  if (program.ssh_build_no == 0) program.ssh_build_no = util::Version().calculate().first;
  program.full_version = "2.4.3." + std::to_string(program.ssh_build_no);
  return program;
}

}  // namespace quelto::launcher
