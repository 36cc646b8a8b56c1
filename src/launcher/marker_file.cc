#include "launcher/marker_file.h"

#include "platform/files/replace_file.h"

namespace quelto::launcher {

void writeMarkerFile(const std::string& identifyFile, const std::string& host) {
  // SECURITY: AUTH_KEYCHAIN may be in a folder that others write to; a link of theirs that is followed would
  // overwrite a file of ours.
  static_cast<void>(
      platform::replaceFile(identifyFile + ".u", "Username: " + host, platform::Links::replaced));
}

}  // namespace quelto::launcher
