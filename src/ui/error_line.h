#pragma once

#include <string>

namespace quelto::ui {

/// A fatal error as the person sees it.
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

/// Looks the text up in the table, writes the line "queltoSSH(CODE): TEXT" to standard error and ends the
/// process with status 255 at once: background work is cut off, and no process-wide object is destroyed under
/// it. It is always one line: a line break of the text becomes a blank, other control characters are left
/// out.
[[noreturn]] void failWith(const FatalError& error, const std::string& localizedTable);

}  // namespace quelto::ui
