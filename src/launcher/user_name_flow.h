#pragma once

namespace quelto::launcher {

struct ProcessValues;

/// Completes `username`: returns with one that is not empty, or ends the process as the dialog does.
void requireUserName(ProcessValues& values);

}  // namespace quelto::launcher
