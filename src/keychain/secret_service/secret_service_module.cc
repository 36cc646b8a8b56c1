#include "keychain/secret_service/secret_service_module.h"

#include <signal.h>

#include <exception>

#include "keychain/secret_service/glib_owners.h"
#include "keychain/secret_service/secret_service_store.h"

namespace quelto::keychain {
namespace {

/// Keeps GLib to itself: standard output belongs to the tunnel, standard error to the person.
void silenceGlib() {
  // The writer can be set once; nobody else in this process uses GLib.
  g_log_set_writer_func(
      [](GLogLevelFlags, const GLogField*, gsize, gpointer) { return G_LOG_WRITER_HANDLED; }, nullptr,
      nullptr);
  const auto drop = [](const gchar*) {};
  // G_DBUS_DEBUG and the like.
  g_set_print_handler(drop);
  g_set_printerr_handler(drop);
}

/// The first socket of GIO makes the process ignore SIGPIPE, and what is ignored stays ignored in children:
/// an ssh whose reader is gone would not end. GIO itself writes with MSG_NOSIGNAL.
void makeSocketsLeavingSigpipe() {
  struct sigaction before {};
  ::sigaction(SIGPIPE, nullptr, &before);
  // Never unreferenced, so that it is not initialised again.
  g_type_class_ref(G_TYPE_SOCKET);
  ::sigaction(SIGPIPE, &before, nullptr);
}

/// Never destroyed: a thread may outlive the call that started it, and every object of the program.
SecretServiceStore& store() {
  static SecretServiceStore* const instance = [] {
    silenceGlib();
    makeSocketsLeavingSigpipe();
    return new SecretServiceStore;
  }();
  return *instance;
}

}  // namespace
}  // namespace quelto::keychain

using quelto::keychain::ItemStore;
using quelto::keychain::KeyringState;

ItemStore* queltoSecretServiceStore() {
  try {
    return &quelto::keychain::store();
  } catch (const std::exception&) {
    return nullptr;
  }
}

KeyringState queltoOpenKeyring() {
  try {
    return quelto::keychain::store().open();
  } catch (const std::exception&) {
    return KeyringState::noAnswer;
  }
}
