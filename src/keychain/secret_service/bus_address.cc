#include "keychain/secret_service/bus_address.h"

#include <sys/stat.h>

#include <algorithm>
#include <string_view>

#include "keychain/secret_service/glib_owners.h"
#include "platform/files/ownership.h"
#include "platform/user/environment.h"

namespace quelto::keychain {
namespace {

/// Without the transports that would launch a bus.
std::string withoutAutolaunch(std::string_view addresses) {
  std::string kept;
  while (!addresses.empty()) {
    const std::string_view address = addresses.substr(0, addresses.find(';'));
    if (!address.starts_with("autolaunch:")) kept.append(kept.empty() ? "" : ";").append(address);
    addresses.remove_prefix(std::min(addresses.size(), address.size() + 1));
  }
  return kept;
}

}  // namespace

std::optional<std::string> sessionBusAddress() {
  if (const auto addresses = platform::environmentValue("DBUS_SESSION_BUS_ADDRESS");
      addresses && !addresses->empty()) {
    std::string kept = withoutAutolaunch(*addresses);
    return kept.empty() ? std::nullopt : std::optional(std::move(kept));
  }
  const std::string folder = platform::environmentValue("XDG_RUNTIME_DIR").value_or("");
  const std::string path = folder + "/bus";
  struct stat status {};
  if (folder.empty() || ::stat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) return std::nullopt;
  // SECURITY: whoever else can write to the folder could be our bus, and be given the secrets. That the
  // socket is ours now says nothing of the one that is there a moment later.
  if (::stat(folder.c_str(), &status) != 0 || !platform::isWrittenByUsAlone(status)) return std::nullopt;
  const TextOwner escaped(g_dbus_address_escape_value(path.c_str()));
  return std::string("unix:path=") + escaped.get();
}

}  // namespace quelto::keychain
