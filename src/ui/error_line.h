#pragma once

#include <string>

namespace quelto::ui {

/// One of the fatal errors that a person sees.
struct FatalError {
  /// A letter and two digits.
  const char* code;
  /// The key and the default of the text.
  const char* key;
  const char* defaultText;
};

constexpr FatalError invalidEnvironment{"E01", "error_invalid_environment", "Invalid environment."};
constexpr FatalError createDialogFailed{"E02", "error_create_dialog", "Failed to create username dialog."};
constexpr FatalError displayDialogFailed{"E03", "error_display_dialog", "Failed to display username dialog."};
constexpr FatalError runSshFailed{"E04", "error_run_ssh", "Failed to run ssh."};
constexpr FatalError canceled{"C01", "error_canceled", "Canceled."};

/// Writes "queltoSSH(CODE): TEXT", the text looked up in the table, and a line end to standard error and ends
/// the process with status 255 at once: background work is cut off, no process-wide object is destroyed under
/// it. It is always one line: control characters and line ends of the text are left out.
[[noreturn]] void failWith(const FatalError& error, const std::string& localizedTable);

}  // namespace quelto::ui
