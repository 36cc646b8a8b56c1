#pragma once

namespace quelto::platform {

/// Ends the process at once with this status. Nothing is flushed (this program's writes are unbuffered) and
/// nothing destroyed, since other threads may still run.
[[noreturn]] void leave(int status);

}  // namespace quelto::platform
