#include "platform/crypto/base64.h"

#include <cstdint>
#include <cstdlib>

/// Whatever is decoded is decoded the same once it was encoded again, in one line or several.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quelto::platform;
  const auto bytes = bytesOfBase64({reinterpret_cast<const char*>(data), size});
  if (!bytes) return 0;
  for (const auto lines : {Base64Lines::one, Base64Lines::of64Characters}) {
    if (bytesOfBase64(*base64(*bytes, lines)) != bytes) std::abort();
  }
  return 0;
}
