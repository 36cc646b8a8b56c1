#include "credentials/auth_store.h"

#include "platform/user/environment.h"
#include "util/strings.h"

namespace quelto::credentials {

AuthStore getStore() {
  const auto value = platform::environmentValue("AUTH_STORE");
  return value && util::decimalInteger(*value) == 1 ? AuthStore::secureFile : AuthStore::keychain;
}

}  // namespace quelto::credentials
