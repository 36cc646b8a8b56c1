#pragma once

namespace quelto::platform {

/// Ends the process with a status at once. Nothing is flushed (this program's writes are unbuffered) and
/// nothing destroyed, since workers may still run.
[[noreturn]] void leave(int status);

}  // namespace quelto::platform
