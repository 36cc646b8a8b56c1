#include <cstdlib>

#include "launcher/server_list.h"
#include "launcher/server_merge.h"

/// Whatever the bytes: every record has a host, and both merges accept it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quelto::launcher;
  const ServerList servers({reinterpret_cast<const char*>(data), size});
  std::string_view lastHost;
  for (const SSHServer& server : servers) {
    if (server.host.empty() || server.parameters.find('\t') != std::string::npos) std::abort();
    lastHost = server.host;
  }
  const SshSettings filledIn = mergeServers({}, servers, lastHost, ServerMerge::fillIn);
  (void)mergeServers(filledIn, servers, lastHost, ServerMerge::override_);
  return 0;
}
