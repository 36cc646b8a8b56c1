#include "platform/signals/leave.h"

#include <unistd.h>

namespace quelto::platform {

void leave(int status) { ::_exit(status); }

}  // namespace quelto::platform
