#include "keychain/embedded/unresolved_path_vfs.h"

#include <sqlite3.h>

#include <cstring>

namespace quelto::keychain::embedded {
namespace {

int copyPath(sqlite3_vfs* /*vfs*/, const char* path, int resultSize, char* result) {
  const std::size_t size = std::strlen(path) + 1;
  if (size > static_cast<std::size_t>(resultSize)) return SQLITE_CANTOPEN;
  std::memcpy(result, path, size);
  return SQLITE_OK;
}

const char* registerVfs() {
  const sqlite3_vfs* const standard = sqlite3_vfs_find(nullptr);
  if (standard == nullptr) return nullptr;
  static sqlite3_vfs vfs = *standard;
  vfs.zName = "quelto-unresolved-path";
  vfs.xFullPathname = copyPath;
  return sqlite3_vfs_register(&vfs, 0) == SQLITE_OK ? vfs.zName : nullptr;
}

}  // namespace

const char* unresolvedPathVfs() {
  static const char* const name = registerVfs();
  return name;
}

}  // namespace quelto::keychain::embedded
