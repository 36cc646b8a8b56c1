#include <cstdlib>

#include "launcher/process_values.h"
#include "launcher/server_list.h"

/// Whatever the bytes: every record has a host, and both merges take it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quelto::launcher;
  ProcessValues values;
  values.servers = ServerList({reinterpret_cast<const char*>(data), size});
  for (const SSHServer& server : values.servers) {
    if (server.host.empty() || server.parameters.find('\t') != std::string::npos) std::abort();
    values._host = server.host;
  }
  mergeServers(values, ServerMerge::fillIn);
  mergeServers(values, ServerMerge::override_);
  return 0;
}
