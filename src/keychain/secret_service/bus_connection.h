#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "keychain/secret_service/glib_owners.h"
#include "keychain/secret_service/outcome.h"
#include "platform/threads/deadline.h"

namespace quelto::keychain {

/// What is asked of an object on the bus. Every answer conforms to the type; both types are tuples.
struct Request {
  std::string path;
  const char* interface;
  const char* method;
  VariantOwner arguments;
  const char* answerType;
};

struct Answer {
  Outcome outcome = Outcome::noAnswer;
  /// Null unless done.
  VariantOwner value;
};

/// One connection to a message bus. It serves one thread at a time; which one does not matter.
class BusConnection {
 public:
  /// Connects to the bus at a D-Bus server address; null when none is there. Waits without a limit, but ends,
  /// with null, when it is cancelled.
  [[nodiscard]] static std::unique_ptr<BusConnection> open(const std::string& address,
                                                           GCancellable* cancellable);

  ~BusConnection();
  BusConnection(const BusConnection&) = delete;
  BusConnection& operator=(const BusConnection&) = delete;

  /// Sends the requests to whoever has the name `destination`, one right after the other, and waits for an
  /// answer to each: in the order of the requests, `noAnswer` for what has not come by the deadline. Starts
  /// nobody. Once the deadline is over nothing is sent; with one that never comes the wait ends with the
  /// answers, with their sender or with the bus.
  [[nodiscard]] std::vector<Answer> askAll(const char* destination, const std::vector<Request>& requests,
                                           const platform::Deadline& deadline);
  /// The same for one request.
  [[nodiscard]] Answer ask(const char* destination, Request request, const platform::Deadline& deadline);

  /// The same of the bus itself. Takes the arguments over.
  [[nodiscard]] Answer askBus(const char* method, GVariant* arguments, const char* answerType,
                              const platform::Deadline& deadline);
  /// Does not wait for the answer: a failure stays unknown.
  void tellBus(const char* method, GVariant* arguments);

  /// Serves what arrives until `isReached`; false when the deadline or the end of the connection comes first.
  [[nodiscard]] bool waitUntil(const std::function<bool()>& isReached, const platform::Deadline& deadline);

 private:
  friend class AwaitedSignal;

  BusConnection() : context_(g_main_context_new()) {}

  /// What arrives is dispatched here, by the thread that waits for it.
  ContextOwner context_;
  ObjectOwner<GDBusConnection> connection_;
};

/// The first signal of one kind that arrives while the object lives. For the thread that uses the connection,
/// which must outlive it.
class AwaitedSignal {
 public:
  struct Kind {
    const char* sender;
    const char* path;
    const char* interface;
    const char* name;
    /// Null for any.
    const char* firstArgument;
  };
  AwaitedSignal(BusConnection& connection, const Kind& kind);
  /// One that the bus itself sends.
  AwaitedSignal(BusConnection& connection, const char* name, const char* firstArgument);
  ~AwaitedSignal();
  AwaitedSignal(const AwaitedSignal&) = delete;
  AwaitedSignal& operator=(const AwaitedSignal&) = delete;

  [[nodiscard]] bool hasArrived() const { return arguments_ != nullptr; }
  /// A tuple of any type; null until it has arrived.
  [[nodiscard]] const VariantOwner& arguments() const { return arguments_; }

 private:
  BusConnection& connection_;
  VariantOwner arguments_;
  guint subscription_;
};

}  // namespace quelto::keychain
