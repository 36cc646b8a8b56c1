#include "launcher/program.h"

#include "platform/bundle/bundle.h"
#include "platform/files/path_status.h"
#include "util/paths.h"
#include "util/version.h"

namespace quelto::launcher {

Program thisProgram() {
  Program program;
  if (const auto executable = platform::Bundle::mainBundle().executablePath()) {
    program.resourceUrl = platform::parentFolder(*executable);
    program.mainExecutable =
        util::appendingPathComponent(platform::parentFolder(program.resourceUrl), "MacOS/quelto");
  }
  if (program.ssh_build_no == 0) program.ssh_build_no = util::Version().calculate().first;
  program.full_version = "2.4.3." + std::to_string(program.ssh_build_no);
  return program;
}

}  // namespace quelto::launcher
