#include "platform/secrets/core_dumps.h"

#include <sys/prctl.h>

#include <mutex>

namespace quelto::platform {
namespace {

/// How many objects live, and the setting before the first. Never destroyed.
struct State {
  std::mutex mutex;
  int count = 0;
  int before = 1;
};
constinit State state;

void setDumpable(int value) { ::prctl(PR_SET_DUMPABLE, static_cast<unsigned long>(value), 0UL, 0UL, 0UL); }

}  // namespace

CoreDumpsOff::CoreDumpsOff() {
  const std::lock_guard lock(state.mutex);
  if (state.count++ > 0) return;
  state.before = ::prctl(PR_GET_DUMPABLE, 0UL, 0UL, 0UL, 0UL);
  // SECURITY: a core file, or a debugger of the same user, would show the private key.
  setDumpable(0);
}

CoreDumpsOff::~CoreDumpsOff() {
  const std::lock_guard lock(state.mutex);
  // Only 0 and 1 can be set; any other value was not set by us.
  if (--state.count == 0 && state.before == 1) setDumpable(1);
}

}  // namespace quelto::platform
