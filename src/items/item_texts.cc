#include "items/item_texts.h"

#include <span>

#include "ui/localized_strings.h"
#include "ui/text_format.h"
#include "util/paths.h"

namespace quelto::items {

const std::string& appTitle() {
  // Never destroyed: a worker may still read it when the process leaves.
  static const auto* const title =
      new std::string(ui::localizedString("app_title", "consts", util::appName()));
  return *title;
}

const std::string& keychainPrefix() {
  static const auto* const prefix = new std::string(
      ui::formatted(ui::localizedString("keychain_item_prefix", ui::defaultGlobalLocalizedTable, "%@"),
                    std::span(&appTitle(), 1)));
  return *prefix;
}

}  // namespace quelto::items
