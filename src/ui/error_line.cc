#include "ui/error_line.h"

#include "platform/files/standard_streams.h"
#include "platform/signals/leave_signal.h"
#include "platform/text/harmless_text.h"
#include "ui/localized_strings.h"

namespace quelto::ui {

void failWith(const FatalError& error, const std::string& localizedTable) {
  const std::string text = platform::singleLineText(
      platform::joinedLines(localizedString(error.key, localizedTable, error.defaultText)));
  const std::string line = "queltoSSH(" + std::string(error.code) + "): " + text + "\n";
  // Without standard error there is nobody to tell.
  (void)platform::writeStandardError(line);
  platform::leave(255);
}

}  // namespace quelto::ui
