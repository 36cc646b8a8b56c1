#include <algorithm>
#include <cstdlib>

#include "crash/crash_comm.h"
#include "platform/text/utf8.h"

/// Packets, each after a byte that is its length.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quelto;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  crash::CrashComm comm;
  while (!rest.empty()) {
    const std::size_t length = static_cast<std::uint8_t>(rest.front());
    const auto text = comm.receiveData(rest.substr(1, length));
    if (text && !platform::isValidUtf8(*text)) std::abort();
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
  return 0;
}
