#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>

#include "crash/socket_client.h"
#include "crash/socket_comm.h"
#include "platform/run_loop/socket_file.h"

namespace quelto::crash {

enum class SocketServerStatus { unknown = 0, running = 1, stopped = 2, starting = 3, stopping = 4 };

class SocketServer;

/// What a server hears, told on the thread that it belongs to. Any of these may release the server.
class SocketServerDelegate {
 public:
  SocketServerDelegate() = default;
  SocketServerDelegate(const SocketServerDelegate&) = delete;
  SocketServerDelegate& operator=(const SocketServerDelegate&) = delete;

  /// A connection was accepted; the count of clients then, without one that could not be used.
  virtual void clientsChanged(SocketServer& server, std::size_t count) = 0;
  /// What one read delivered, valid for the call, unless it is an archived text.
  virtual void dataReceived(SocketServer& server, std::string_view data, SocketClient& client) = 0;
  virtual void textReceived(SocketServer& server, const std::string& text, SocketClient& client) = 0;
  /// A client has left `clients`; nothing more comes from it. Nobody is told the count.
  virtual void clientEnded(SocketServer& server, SocketClient& client) {
    static_cast<void>(server);
    static_cast<void>(client);
  }

 protected:
  ~SocketServerDelegate() = default;
};

/// Listens on a local socket for processes of the same user. Its state: stopped -> starting -> running, which
/// lasts until `stop`, and stopping -> stopped then. The socket's file is there while it runs.
class SocketServer final : public SocketComm,
                           private SocketClientDelegate,
                           public std::enable_shared_from_this<SocketServer> {
 public:
  using Clients = std::set<std::shared_ptr<SocketClient>>;

  /// One that is to listen at a path.
  [[nodiscard]] static std::shared_ptr<SocketServer> make(std::string sockUrl);
  /// Stops, without a word to the delegate.
  ~SocketServer();

  [[nodiscard]] SocketServerStatus state() const { return state_; }
  [[nodiscard]] const Clients& clients() const { return clients_; }

  /// Borrowed: whoever sets it sets null before it goes.
  void setDelegate(SocketServerDelegate* delegate) { delegate_ = delegate; }

  /// Listens, and adds the server to the run loop of this thread; a file that an earlier server left there is
  /// replaced. False, and stopped, when that fails, and `isTaken` tells whether another server is the reason.
  /// True when it is running already.
  bool start();

  /// The last start found another server listening there.
  [[nodiscard]] bool isTaken() const { return isTaken_; }

  /// Stops every client, stops listening and removes the socket's file. Always true.
  bool stop();

  /// Takes an accepted connection.
  void addClient(platform::UniqueFd handle);
  void disconnectClient(SocketClient& client);
  void disconnectClients();

  /// Out of descriptors or memory, a server stops accepting until a client leaves or this is called.
  void resumeAccepting();

 private:
  explicit SocketServer(std::string sockUrl);

  [[nodiscard]] bool serverCreate();
  [[nodiscard]] bool serverBind();
  void stopHeld();

  void stateChanged(SocketClient& client, SocketClientStatus newState) override;
  void disconnect(SocketClient& client) override;
  void dataReceived(SocketClient& client, std::string_view data) override;
  void textReceived(SocketClient& client, const std::string& text) override;

  SocketServerStatus state_ = SocketServerStatus::unknown;
  SocketServerDelegate* delegate_ = nullptr;
  Clients clients_;
  platform::SocketFile file_;
  bool isTaken_ = false;
};

}  // namespace quelto::crash
