#include "ui/error_line.h"

#include "platform/leave.h"
#include "platform/standard_streams.h"
#include "ui/localized_strings.h"

namespace quelto::ui {

void failWith(const FatalError& error, const std::string& localizedTable) {
  const std::string line = "queltoSSH(" + std::string(error.code) +
                           "): " + localizedString(error.key, localizedTable, error.defaultText) + "\n";
  // Nobody is left to tell when standard error cannot be written.
  (void)platform::writeStandardError(line);
  platform::leave(255);
}

}  // namespace quelto::ui
