#include "keychain/secret_service/bus_connection.h"

#include <limits>

namespace quelto::keychain {
namespace {

constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* busPath = "/org/freedesktop/DBus";

/// Makes the context that of the calling thread, where GLib looks for it.
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

/// Wakes the context at the deadline.
class Alarm {
 public:
  Alarm(GMainContext* context, const platform::Deadline& deadline) {
    const int timeLeft = deadline.pollTimeout();
    if (timeLeft < 0) return;
    source_ = g_timeout_source_new(static_cast<guint>(timeLeft));
    g_source_set_callback(
        source_, [](gpointer) -> gboolean { return G_SOURCE_REMOVE; }, nullptr, nullptr);
    g_source_attach(source_, context);
  }
  ~Alarm() {
    if (source_ == nullptr) return;
    g_source_destroy(source_);
    g_source_unref(source_);
  }
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;

 private:
  GSource* source_ = nullptr;
};

/// Where an answer is to be put.
struct Expected {
  Answer* answer;
  std::size_t* missing;
};

void receive(GObject* connection, GAsyncResult* result, gpointer data) {
  const auto& expected = *static_cast<const Expected*>(data);
  GError* error = nullptr;
  expected.answer->value.reset(
      g_dbus_connection_call_finish(reinterpret_cast<GDBusConnection*>(connection), result, &error));
  const ErrorOwner errorOwner(error);
  expected.answer->outcome = error != nullptr ? outcomeOf(*error) : Outcome::done;
  --*expected.missing;
}

}  // namespace

std::unique_ptr<BusConnection> BusConnection::open(const std::string& address, GCancellable* cancellable) {
  std::unique_ptr<BusConnection> made(new BusConnection);
  const ContextScope scope(made->context_.get());
  constexpr auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                           G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  made->connection_.reset(
      g_dbus_connection_new_for_address_sync(address.c_str(), flags, nullptr, cancellable, nullptr));
  return made->connection_ != nullptr ? std::move(made) : nullptr;
}

BusConnection::~BusConnection() {
  const ContextScope scope(context_.get());
  connection_.reset();
  // GLib frees the rest of it from the context.
  while (g_main_context_iteration(context_.get(), FALSE) != FALSE) continue;
}

std::vector<Answer> BusConnection::askAll(const char* destination, const std::vector<Request>& requests,
                                          const platform::Deadline& deadline) {
  std::vector<Answer> answers(requests.size());
  if (deadline.isOver()) return answers;
  const int timeLeft = deadline.pollTimeout();
  const ContextScope scope(context_.get());
  std::size_t missing = requests.size();
  std::vector<Expected> expected;
  expected.reserve(requests.size());
  for (std::size_t index = 0; index < requests.size(); ++index) {
    const Request& request = requests[index];
    expected.push_back({.answer = &answers[index], .missing = &missing});
    g_dbus_connection_call(
        connection_.get(), destination, request.path.c_str(), request.interface, request.method,
        request.arguments.get(), G_VARIANT_TYPE(request.answerType), G_DBUS_CALL_FLAGS_NO_AUTO_START,
        timeLeft < 0 ? std::numeric_limits<int>::max() : timeLeft, nullptr, receive, &expected[index]);
  }
  // Each ends by itself, at the latest at the deadline.
  while (missing > 0) g_main_context_iteration(context_.get(), TRUE);
  return answers;
}

Answer BusConnection::ask(const char* destination, Request request, const platform::Deadline& deadline) {
  std::vector<Request> requests;
  requests.push_back(std::move(request));
  return std::move(askAll(destination, requests, deadline).front());
}

Answer BusConnection::askBus(const char* method, GVariant* arguments, const char* answerType,
                             const platform::Deadline& deadline) {
  return ask(busName,
             {.path = busPath,
              .interface = busName,
              .method = method,
              .arguments = owned(arguments),
              .answerType = answerType},
             deadline);
}

void BusConnection::tellBus(const char* method, GVariant* arguments) {
  g_dbus_connection_call(connection_.get(), busName, busPath, busName, method, arguments, nullptr,
                         G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
}

bool BusConnection::waitUntil(const std::function<bool()>& isReached, const platform::Deadline& deadline) {
  const ContextScope scope(context_.get());
  const Alarm alarm(context_.get(), deadline);
  while (!isReached()) {
    if (deadline.isOver() || g_dbus_connection_is_closed(connection_.get()) != FALSE) return false;
    g_main_context_iteration(context_.get(), TRUE);
  }
  return true;
}

AwaitedSignal::AwaitedSignal(BusConnection& connection, const Kind& kind) : connection_(connection) {
  const ContextScope scope(connection_.context_.get());
  const auto onArrival = [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                            GVariant* arguments, gpointer self) {
    auto& awaited = *static_cast<AwaitedSignal*>(self);
    if (!awaited.hasArrived()) awaited.arguments_.reset(g_variant_ref(arguments));
  };
  subscription_ = g_dbus_connection_signal_subscribe(connection_.connection_.get(), kind.sender,
                                                     kind.interface, kind.name, kind.path, kind.firstArgument,
                                                     G_DBUS_SIGNAL_FLAGS_NONE, onArrival, this, nullptr);
}

AwaitedSignal::AwaitedSignal(BusConnection& connection, const char* name, const char* firstArgument)
    : AwaitedSignal(connection, {.sender = busName,
                                 .path = busPath,
                                 .interface = busName,
                                 .name = name,
                                 .firstArgument = firstArgument}) {}

AwaitedSignal::~AwaitedSignal() {
  const ContextScope scope(connection_.context_.get());
  g_dbus_connection_signal_unsubscribe(connection_.connection_.get(), subscription_);
}

}  // namespace quelto::keychain
