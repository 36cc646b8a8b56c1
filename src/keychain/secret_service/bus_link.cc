#include "keychain/secret_service/bus_link.h"

#include <atomic>
#include <string_view>

#include "platform/user/environment.h"

namespace quelto::keychain {
namespace {

constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* busPath = "/org/freedesktop/DBus";
constexpr const char* serviceName = "org.freedesktop.secrets";
constexpr const char* servicePath = "/org/freedesktop/secrets";
constexpr const char* serviceInterface = "org.freedesktop.Secret.Service";
constexpr const char* itemInterface = "org.freedesktop.Secret.Item";
/// Owned on the bus by whoever writes.
constexpr const char* writerName = "org.quelto.suite.KeychainWriter";
/// RequestName's answer when somebody else owns the name and we wait in line.
constexpr guint32 inQueue = 2;

bool isSet(const char* name) { return !platform::environmentValue(name).value_or("").empty(); }

/// Makes the link's context that of the calling thread, where GLib looks for it.
class ContextScope {
 public:
  explicit ContextScope(GMainContext* context) : context_(context) {
    g_main_context_push_thread_default(context);
  }
  ~ContextScope() { g_main_context_pop_thread_default(context_); }
  ContextScope(const ContextScope&) = delete;
  ContextScope& operator=(const ContextScope&) = delete;

 private:
  GMainContext* context_;
};

/// libsecret's own service object insists on the session bus that a whole process shares, whose first use can
/// launch a bus or wait for ever. This one is bound to the connection that it is given: it is made as the
/// D-Bus proxy that it is, without the step in between that sets the shared bus.
GType boundServiceType() {
  static const GType type = g_type_register_static_simple(
      SECRET_TYPE_SERVICE, "QueltoBoundSecretService", sizeof(SecretServiceClass),
      [](gpointer ours, gpointer) {
        const gpointer proxy = g_type_class_peek(G_TYPE_DBUS_PROXY);
        static_cast<GObjectClass*>(ours)->constructor = static_cast<GObjectClass*>(proxy)->constructor;
      },
      sizeof(SecretService), nullptr, GTypeFlags{});
  return type;
}

/// Where an answer is to be put.
struct Expected {
  BusLink::Answer* answer;
  std::size_t* missing;
};

void receive(GObject* connection, GAsyncResult* result, gpointer data) {
  const auto& expected = *static_cast<const Expected*>(data);
  ErrorSlot error;
  expected.answer->value.reset(
      g_dbus_connection_call_finish(reinterpret_cast<GDBusConnection*>(connection), result, error.out()));
  expected.answer->outcome = error.get() != nullptr ? outcomeOf(*error.get()) : Outcome::done;
  --*expected.missing;
}

/// Wakes the context once, unless it is destroyed before.
class Alarm {
 public:
  Alarm(GMainContext* context, std::chrono::milliseconds time)
      : source_(g_timeout_source_new(static_cast<guint>(time.count()))) {
    g_source_set_callback(
        source_, [](gpointer) -> gboolean { return G_SOURCE_REMOVE; }, nullptr, nullptr);
    g_source_attach(source_, context);
  }
  ~Alarm() {
    g_source_destroy(source_);
    g_source_unref(source_);
  }
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;

 private:
  GSource* source_;
};

/// The right to show a dialog, of which this process shows one at a time.
class PromptTurn {
 public:
  PromptTurn() : isOurs_(!isTaken_.exchange(true)) {}
  ~PromptTurn() {
    if (isOurs_) isTaken_.store(false);
  }
  PromptTurn(const PromptTurn&) = delete;
  PromptTurn& operator=(const PromptTurn&) = delete;
  [[nodiscard]] bool isOurs() const { return isOurs_; }

 private:
  static inline constinit std::atomic<bool> isTaken_{false};
  bool isOurs_;
};

}  // namespace

std::unique_ptr<BusLink> BusLink::connect(std::string address, Errand& errand) {
  std::unique_ptr<BusLink> link(new BusLink(std::move(address)));
  const ContextScope scope(link->context_.get());
  constexpr auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                           G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  ErrorSlot error;
  link->connection_.reset(g_dbus_connection_new_for_address_sync(link->address_.c_str(), flags, nullptr,
                                                                 errand.untilDeadline(), error.out()));
  return link->connection_ != nullptr ? std::move(link) : nullptr;
}

BusLink::~BusLink() {
  const ContextScope scope(context_.get());
  service_.reset();
  connection_.reset();
  // GLib frees the rest of both from the context.
  while (g_main_context_iteration(context_.get(), FALSE) != FALSE) continue;
}

std::vector<BusLink::Answer> BusLink::askAt(Errand& errand, const char* destination,
                                            const std::vector<std::string>& paths, const Request& request) {
  const VariantOwner arguments = owned(request.arguments);
  std::vector<Answer> answers(paths.size());
  const auto timeLeft = static_cast<int>(errand.timeLeft().count());
  if (timeLeft == 0) return answers;
  const ContextScope scope(context_.get());
  std::size_t missing = paths.size();
  std::vector<Expected> expected;
  expected.reserve(paths.size());
  for (std::size_t index = 0; index < paths.size(); ++index) {
    expected.push_back({.answer = &answers[index], .missing = &missing});
    g_dbus_connection_call(connection_.get(), destination, paths[index].c_str(), request.interface,
                           request.method, arguments.get(), G_VARIANT_TYPE(request.answerType),
                           G_DBUS_CALL_FLAGS_NO_AUTO_START, timeLeft, nullptr, receive, &expected[index]);
  }
  // Each ends by itself, at the latest when its time is up.
  while (missing > 0) g_main_context_iteration(context_.get(), TRUE);
  return answers;
}

std::vector<BusLink::Answer> BusLink::askEach(Errand& errand, const std::vector<std::string>& paths,
                                              const Request& request) {
  return askAt(errand, owner_.c_str(), paths, request);
}

BusLink::Answer BusLink::ask(Errand& errand, const std::string& path, const Request& request) {
  return std::move(askAt(errand, owner_.c_str(), {path}, request).front());
}

BusLink::Answer BusLink::askBus(Errand& errand, const char* method, GVariant* arguments,
                                const char* answerType) {
  return std::move(
      askAt(errand, busName, {busPath},
            {.interface = busName, .method = method, .arguments = arguments, .answerType = answerType})
          .front());
}

Outcome BusLink::findOwner(Errand& errand) {
  const Answer answer = askBus(errand, "GetNameOwner", g_variant_new("(s)", serviceName), "(s)");
  if (answer.outcome != Outcome::done) return answer.outcome;
  const char* owner = nullptr;
  g_variant_get(answer.value.get(), "(&s)", &owner);
  // A session dies with its daemon.
  if (owner_ != owner) service_.reset();
  owner_ = owner;
  return Outcome::done;
}

Outcome BusLink::lookForService(Errand& errand) {
  Answer answer = askBus(errand, "NameHasOwner", g_variant_new("(s)", serviceName), "(b)");
  if (answer.outcome != Outcome::done) return answer.outcome;
  gboolean hasOwner = FALSE;
  g_variant_get(answer.value.get(), "(b)", &hasOwner);
  if (hasOwner != FALSE) return Outcome::done;
  answer = askBus(errand, "ListActivatableNames", g_variant_new("()"), "(as)");
  if (answer.outcome != Outcome::done) return answer.outcome;
  const VariantOwner names(g_variant_get_child_value(answer.value.get(), 0));
  GVariantIter iterator;
  g_variant_iter_init(&iterator, names.get());
  const char* activatable = nullptr;
  while (g_variant_iter_next(&iterator, "&s", &activatable) != FALSE) {
    if (std::string_view(activatable) == serviceName) return Outcome::done;
  }
  return Outcome::gone;
}

Outcome BusLink::turnToService(Errand& errand) {
  if (findOwner(errand) == Outcome::done) return Outcome::done;
  const Answer started =
      askBus(errand, "StartServiceByName", g_variant_new("(su)", serviceName, guint32{0}), "(u)");
  return started.outcome == Outcome::done ? findOwner(errand) : Outcome::unavailable;
}

/// The session encrypts secrets on the bus (Diffie-Hellman, AES-128-CBC) where libsecret was built with
/// cryptography and the daemon takes part; else they travel as they are, over a local socket of this user,
/// and GLib's message buffers, which nobody can overwrite, hold them.
Outcome BusLink::openSession(Errand& errand) {
  const auto timeLeft = static_cast<int>(errand.timeLeft().count());
  if (timeLeft == 0) return Outcome::unavailable;
  const ContextScope scope(context_.get());
  ErrorSlot error;
  if (service_ == nullptr) {
    constexpr auto flags = static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
                                                        G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS |
                                                        G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START);
    service_.reset(static_cast<SecretService*>(g_initable_new(
        boundServiceType(), nullptr, error.out(), "g-connection", connection_.get(), "g-name", owner_.c_str(),
        "g-object-path", servicePath, "g-interface-name", serviceInterface, "g-flags", flags, nullptr)));
    if (service_ == nullptr) return outcomeOf(*error.get());
  }
  g_dbus_proxy_set_default_timeout(reinterpret_cast<GDBusProxy*>(service_.get()), timeLeft);
  if (secret_service_ensure_session_sync(service_.get(), nullptr, error.out()) != FALSE) return Outcome::done;
  return error.get() != nullptr ? outcomeOf(*error.get()) : Outcome::broken;
}

Outcome BusLink::readSecret(Errand& errand, const std::string& item) {
  if (const Outcome outcome = openSession(errand); outcome != Outcome::done) return outcome;
  const Answer answer =
      ask(errand, item,
          {.interface = itemInterface,
           .method = "GetSecret",
           .arguments = g_variant_new("(o)", secret_service_get_session_dbus_path(service_.get())),
           .answerType = "((oayays))"});
  if (answer.outcome != Outcome::done) return answer.outcome;
  const VariantOwner encoded(g_variant_get_child_value(answer.value.get(), 0));
  Outcome outcome = Outcome::broken;
  const auto decode = [&](platform::Secret& secret) {
    const SecretValueOwner value(secret_service_decode_dbus_secret(service_.get(), encoded.get()));
    if (value == nullptr) return;
    gsize size = 0;
    const char* const bytes = secret_value_get(value.get(), &size);
    secret = platform::Secret({bytes, size});
    outcome = Outcome::done;
  };
  return errand.useSecret(decode) ? outcome : Outcome::unavailable;
}

BusLink::Answer BusLink::sealedSecret(Errand& errand) {
  Answer sealed{.outcome = openSession(errand), .value = nullptr};
  if (sealed.outcome != Outcome::done) return sealed;
  const auto encode = [&](const platform::Secret& secret) {
    const std::string_view bytes = secret.view();
    // Some keyrings keep text only under the first of the two.
    const bool isText = bytes.empty() || g_utf8_validate_len(bytes.data(), bytes.size(), nullptr) != FALSE;
    const SecretValueOwner value(secret_value_new(bytes.data(), static_cast<gssize>(bytes.size()),
                                                  isText ? "text/plain" : "application/octet-stream"));
    GVariant* const encoded = secret_service_encode_dbus_secret(service_.get(), value.get());
    if (encoded != nullptr) sealed.value = owned(encoded);
  };
  if (!errand.useSecret(encode)) {
    sealed.outcome = Outcome::unavailable;
  } else if (sealed.value == nullptr) {
    sealed.outcome = Outcome::broken;
  }
  return sealed;
}

Outcome BusLink::unlock(Errand& errand, const std::vector<std::string>& collections) {
  GVariantBuilder paths;
  g_variant_builder_init(&paths, G_VARIANT_TYPE("ao"));
  for (const std::string& path : collections) g_variant_builder_add(&paths, "o", path.c_str());
  const Answer answer = ask(errand, servicePath,
                            {.interface = serviceInterface,
                             .method = "Unlock",
                             .arguments = g_variant_new("(ao)", &paths),
                             .answerType = "(aoo)"});
  if (answer.outcome != Outcome::done) return answer.outcome;
  const char* prompt = nullptr;
  g_variant_get_child(answer.value.get(), 1, "&o", &prompt);
  return showPrompt(errand, prompt);
}

Outcome BusLink::showPrompt(Errand& errand, const char* prompt) {
  if (std::string_view(prompt) == "/") return Outcome::done;
  // The dialog appears where the daemon runs; a person without a display would never see it.
  if (!isSet("WAYLAND_DISPLAY") && !isSet("DISPLAY")) return Outcome::locked;
  const PromptTurn turn;
  if (!turn.isOurs()) return Outcome::locked;
  endWriting();
  if (const Outcome outcome = openSession(errand); outcome != Outcome::done) return outcome;
  errand.setAsking(true);
  const ContextScope scope(context_.get());
  ErrorSlot error;
  // Without a cancellable, and for as long as the dialog is up: see Errand.
  const VariantOwner answer(
      secret_service_prompt_at_dbus_path_sync(service_.get(), prompt, nullptr, nullptr, error.out()));
  errand.setAsking(false);
  if (answer != nullptr) return Outcome::done;
  return error.get() != nullptr ? outcomeOf(*error.get()) : Outcome::locked;
}

Outcome BusLink::beginWriting(Errand& errand) {
  if (isWriting_) return Outcome::done;
  const ContextScope scope(context_.get());
  bool isAcquired = false;
  const auto onAcquired = [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                             GVariant*, gpointer data) { *static_cast<bool*>(data) = true; };
  const guint subscription = g_dbus_connection_signal_subscribe(
      connection_.get(), busName, busName, "NameAcquired", busPath, writerName, G_DBUS_SIGNAL_FLAGS_NONE,
      onAcquired, &isAcquired, nullptr);
  const Answer answer = askBus(errand, "RequestName", g_variant_new("(su)", writerName, guint32{0}), "(u)");
  Outcome outcome = answer.outcome;
  if (outcome == Outcome::done) {
    isWriting_ = true;
    guint32 place = 0;
    g_variant_get(answer.value.get(), "(u)", &place);
    const Alarm alarm(context_.get(), errand.timeLeft());
    while (place == inQueue && !isAcquired && errand.timeLeft().count() > 0)
      g_main_context_iteration(context_.get(), TRUE);
    if (place == inQueue && !isAcquired) outcome = Outcome::unavailable;
  }
  g_dbus_connection_signal_unsubscribe(connection_.get(), subscription);
  return outcome;
}

void BusLink::endWriting() {
  if (!isWriting_) return;
  isWriting_ = false;
  // Nobody waits for the answer.
  g_dbus_connection_call(connection_.get(), busName, busPath, busName, "ReleaseName",
                         g_variant_new("(s)", writerName), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
                         nullptr, nullptr);
}

}  // namespace quelto::keychain
