#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "keychain/embedded/embedded_keychain.h"
#include "keychain/embedded/embedded_keychain_module.h"

namespace quelto::keychain {
namespace {

/// Never destroyed: another thread may be in a call when the process ends.
struct Keychains {
  std::mutex mutex;
  std::map<std::string, std::unique_ptr<EmbeddedKeychain>, std::less<>> byFolder;
};

Keychains& keychains() {
  static auto* const all = new Keychains;
  return *all;
}

}  // namespace
}  // namespace quelto::keychain

quelto::keychain::ItemStore* queltoEmbeddedKeychain(const char* folder) try {
  auto& [mutex, byFolder] = quelto::keychain::keychains();
  const std::lock_guard lock(mutex);
  auto& keychain = byFolder[folder];
  if (!keychain) keychain = std::make_unique<quelto::keychain::EmbeddedKeychain>(folder);
  return keychain.get();
} catch (...) {  // no exception leaves a module
  return nullptr;
}
