#include <signal.h>

#include <exception>

#include "keychain/secret_service/glib_owners.h"
#include "keychain/secret_service/secret_service_keychain.h"
#include "keychain/secret_service/secret_service_store.h"

/// libsecret's switch for what it prints when it cannot lock a secret's memory; absent where it is not
/// exported.
extern "C" [[gnu::weak]] int egg_secure_warnings;

namespace quelto::keychain {
namespace {

/// Keeps the libraries to themselves: standard output belongs to the tunnel, standard error to the person.
void silenceLibraries() {
  // GLib's writer can be set once; nobody else in this process uses GLib.
  g_log_set_writer_func(
      [](GLogLevelFlags, const GLogField*, gsize, gpointer) { return G_LOG_WRITER_HANDLED; }, nullptr,
      nullptr);
  const auto drop = [](const gchar*) {};
  // G_DBUS_DEBUG and the like.
  g_set_print_handler(drop);
  g_set_printerr_handler(drop);
  if (&egg_secure_warnings != nullptr) egg_secure_warnings = 0;
}

/// The first socket of GIO makes the process ignore SIGPIPE, and what is ignored stays ignored in children:
/// an ssh whose reader has gone would not end. GIO itself writes with MSG_NOSIGNAL.
void makeSocketsLeavingSigpipe() {
  struct sigaction before {};
  ::sigaction(SIGPIPE, nullptr, &before);
  // Referenced for good, so that it is never made anew.
  g_type_class_ref(G_TYPE_SOCKET);
  ::sigaction(SIGPIPE, &before, nullptr);
}

/// Never destroyed: a thread may outlive the call that started it, and every object of the program.
SecretServiceStore& store() {
  static SecretServiceStore* const instance = [] {
    silenceLibraries();
    makeSocketsLeavingSigpipe();
    // Makes GLib know the service's error names.
    (void)secret_error_get_quark();
    return new SecretServiceStore;
  }();
  return *instance;
}

}  // namespace
}  // namespace quelto::keychain

using quelto::keychain::ItemStore;
using quelto::keychain::SecretServiceState;

ItemStore* queltoOpenSecretService() {
  try {
    return &quelto::keychain::store();
  } catch (const std::exception&) {
    return nullptr;
  }
}

SecretServiceState queltoSecretServiceState() {
  try {
    return quelto::keychain::store().state();
  } catch (const std::exception&) {
    return SecretServiceState::unreachable;
  }
}
