#include <cstdint>
#include <cstdlib>

#include "keychain/embedded/attribute_bytes.h"

/// Whatever is read as attributes is written as the same bytes: no two forms of one item.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace embedded = quelto::keychain::embedded;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  embedded::AttributeViews views;
  if (!embedded::readAttributes(bytes, views)) return 0;
  if (embedded::bytesOf(quelto::keychain::Attributes(views.begin(), views.end())) != bytes) std::abort();
  return 0;
}
