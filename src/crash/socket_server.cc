#include "crash/socket_server.h"

#include "platform/run_loop/run_loop.h"

namespace quelto::crash {

using platform::SocketFile;

SocketServer::SocketServer(std::string sockUrl) : SocketComm(sockUrl), file_(std::move(sockUrl)) {
  state_ = SocketServerStatus::stopped;
}

std::shared_ptr<SocketServer> SocketServer::make(std::string sockUrl) {
  return std::shared_ptr<SocketServer>(new SocketServer(std::move(sockUrl)));
}

SocketServer::~SocketServer() {
  delegate_ = nullptr;
  stopHeld();
}

bool SocketServer::start() {
  if (state_ == SocketServerStatus::running) return true;
  state_ = SocketServerStatus::starting;
  isTaken_ = false;
  if (serverCreate() && serverBind()) {
    sockRef_->addTo(*platform::RunLoop::current());
    state_ = SocketServerStatus::running;
    return true;
  }
  stop();
  return false;
}

bool SocketServer::serverCreate() {
  if (sockRef_) return false;
  sockRef_ = platform::RunLoopSocket::forAccepting(
      platform::openLocalSocket(), [this](platform::UniqueFd handle) { addClient(std::move(handle)); });
  return sockRef_ != nullptr;
}

bool SocketServer::serverBind() {
  if (!sockRef_) return false;
  const auto claim = file_.claim(*sockRef_);
  isTaken_ = claim == SocketFile::Claim::taken;
  return claim == SocketFile::Claim::listening;
}

void SocketServer::addClient(platform::UniqueFd handle) {
  const auto client = SocketClient::make(std::move(handle));
  if (client->state() == SocketClientStatus::linked) {
    client->setDelegate(this);
    clients_.insert(client);
  }
  if (delegate_ != nullptr) delegate_->clientsChanged(*this, clients_.size());
}

void SocketServer::disconnectClient(SocketClient& client) {
  const auto server = weak_from_this().lock();
  const auto held = client.shared_from_this();
  if (!clients_.contains(held)) return;
  // Its stop comes back here.
  if (client.sockRef() != nullptr) client.stop();
  if (clients_.erase(held) == 0) return;
  client.setDelegate(nullptr);
  resumeAccepting();
  if (delegate_ != nullptr) delegate_->clientEnded(*this, client);
}

void SocketServer::disconnectClients() {
  const auto held = weak_from_this().lock();
  // Each one's stop takes it out.
  const Clients clients = clients_;
  for (const auto& client : clients) client->stop();
  clients_.clear();
}

void SocketServer::resumeAccepting() {
  if (sockRef_) sockRef_->resumeAccepting();
}

bool SocketServer::stop() {
  // A delegate may release this object.
  const auto held = shared_from_this();
  stopHeld();
  return true;
}

void SocketServer::stopHeld() {
  state_ = SocketServerStatus::stopping;
  disconnectClients();
  file_.remove();
  sockRef_.reset();
  state_ = SocketServerStatus::stopped;
}

void SocketServer::stateChanged(SocketClient&, SocketClientStatus) {}

void SocketServer::disconnect(SocketClient& client) { disconnectClient(client); }

void SocketServer::dataReceived(SocketClient& client, std::string_view data) {
  if (delegate_ != nullptr) delegate_->dataReceived(*this, data, client);
}

void SocketServer::textReceived(SocketClient& client, const std::string& text) {
  if (delegate_ != nullptr) delegate_->textReceived(*this, text, client);
}

}  // namespace quelto::crash
