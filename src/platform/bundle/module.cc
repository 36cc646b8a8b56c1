#include "platform/bundle/module.h"

#include <dlfcn.h>

#include <string>

#include "platform/bundle/bundle.h"

namespace quelto::platform {

void* moduleEntry(const char* fileName, const char* entryName) {
  // SECURITY: a bare name would be searched along LD_LIBRARY_PATH and could load somebody else's code.
  const std::string path = Bundle::mainBundle().pathForModule(fileName);
  if (path.empty()) return nullptr;
  void* const module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  return module != nullptr ? ::dlsym(module, entryName) : nullptr;
}

}  // namespace quelto::platform
