#include <string>
#include <vector>

#include "launcher/process_values.h"
#include "launcher/ssh_run.h"
#include "launcher/start_up.h"
#include "launcher/user_name_flow.h"
#include "platform/files/standard_streams.h"
#include "platform/signals/leave.h"
#include "platform/signals/signals.h"

int main(int argc, char** argv) {
  namespace launcher = quelto::launcher;
  namespace platform = quelto::platform;

  if (!platform::openMissingStandardStreams()) return 255;
  platform::rememberSignalsAtStart();

  launcher::ProcessValues values;
  const launcher::Mode mode = argc < 2 ? launcher::Mode::banner : launcher::Mode::wrapper;
  launcher::startUp(values, mode);
  if (mode == launcher::Mode::banner)
    return platform::writeStandardOutput(launcher::banner(values)) ? 0 : 255;

  const std::vector<std::string> words(argv + 1, argv + argc);
  launcher::readRequest(values, words);
  values.finish.emplace(1);
  launcher::requireUserName(values);
  launcher::completeArguments(values);
  launcher::chooseSshProgram(values);
  platform::leave(launcher::runSsh(values));
}
