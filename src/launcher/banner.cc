#include "launcher/banner.h"

#include "ui/localized_strings.h"
#include "util/version.h"

namespace quelto::launcher {

std::string banner(const std::string& full_version) {
  const std::string appId = ui::localizedString("ssh_name", "consts", "queltoSSH");
  const auto calc_version = util::Version().calculate();
  const auto& [revision, lines] = calc_version;
  std::string text = appId + ", " + full_version + " (" + std::to_string(revision) + ")\n\n";
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

}  // namespace quelto::launcher
