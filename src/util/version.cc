#include "util/version.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "util/strings.h"

namespace quelto::util {
namespace {

constexpr std::array revisions{
    RevisionEntry{"build_ssh_main", "$Rev: 6963 $"},
    RevisionEntry{"build_com_debug", "$Rev: 7086 $"},
    RevisionEntry{"build_app_appkeychain", "$Rev: 6897 $"},
    RevisionEntry{"build_authstore", "$Rev: 5552 $"},
    RevisionEntry{"build_com_consts", "$Rev: 6938 $"},
    RevisionEntry{"library_strings", "$Rev: 7038 $"},
    RevisionEntry{"library_keyfile", "$Rev: 6239 $"},
    RevisionEntry{"library_alert", "$Rev: 5552 $"},
    RevisionEntry{"library_inifile", "$Rev: 5394 $"},
    RevisionEntry{"library_crypto", "$Rev: 7085 $"},
    RevisionEntry{"library_debug_crash", "$Rev: 5892 $"},
    RevisionEntry{"library_comm_socket", "$Rev: 6963 $"},
    RevisionEntry{"library_types", "$Rev: 6737 $"},
    RevisionEntry{"library_version", "$Rev: 5082 $"},
    RevisionEntry{"library_keychain", "$Rev: 5393 $"},
    RevisionEntry{"library_shell", "$Rev: 6676 $"},
};

/// The number between "$Rev:" and the closing "$"; absent when there is none.
std::optional<std::int64_t> revisionOf(std::string_view keyword) {
  return decimalInteger(trim(substr(keyword, CharactersTo{.from = 5, .to = -2, .trim = true})));
}

}  // namespace

std::int64_t Version::build = 0;

Version::Version() : registry_(revisions) {}

std::pair<std::int64_t, std::vector<std::string>> Version::unit(std::string_view prefix) const {
  const auto prefixLength = static_cast<std::int64_t>(prefix.size());
  std::int64_t highest = 0;
  std::vector<std::string> lines;
  for (const auto& [name, text] : registry_) {
    if (!name.starts_with(prefix) || characterCount(text) < prefixLength) continue;
    const auto revision = revisionOf(text);
    if (!revision) continue;
    const auto unitName = substr(name, CharactersTo{.from = prefixLength, .to = -1, .trim = true});
    lines.push_back("Unt_" + std::string(unitName) + ": " + std::to_string(*revision));
    build = std::max(build, *revision);
    highest = std::max(highest, *revision);
  }
  return {highest, lines};
}

std::pair<std::int64_t, std::vector<std::string>> Version::calculate() const {
  std::vector<std::string> lines = unit("build_").second;
  std::ranges::move(unit("library_").second, std::back_inserter(lines));
  std::ranges::sort(lines);
  return {build, lines};
}

}  // namespace quelto::util
