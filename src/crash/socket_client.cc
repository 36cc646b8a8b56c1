#include "crash/socket_client.h"

#include "platform/resources/keyed_archive.h"
#include "platform/run_loop/run_loop.h"
#include "platform/run_loop/socket_file.h"

namespace quelto::crash {

std::shared_ptr<SocketClient> SocketClient::make(std::string sockUrl) {
  std::shared_ptr<SocketClient> client(new SocketClient(std::move(sockUrl)));
  client->state_ = SocketClientStatus::disconnected;
  return client;
}

std::shared_ptr<SocketClient> SocketClient::make(platform::UniqueFd handle) {
  std::shared_ptr<SocketClient> client(new SocketClient(std::nullopt));
  client->setState(SocketClientStatus::linking);
  if (client->clientCreate(std::move(handle))) {
    client->link();
  } else {
    client->stop();
  }
  return client;
}

bool SocketClient::start() {
  if (state_ == SocketClientStatus::linked) return true;
  const auto held = shared_from_this();
  setState(SocketClientStatus::linking);
  if (clientCreate(platform::openLocalSocket()) && clientBind()) {
    link();
    return true;
  }
  stop();
  return false;
}

bool SocketClient::clientCreate(platform::UniqueFd sock) {
  if (sockRef_) return false;
  sockRef_ = platform::RunLoopSocket::forData(std::move(sock), [this](auto block) { received(block); });
  return sockRef_ != nullptr;
}

bool SocketClient::clientBind() {
  // What is at the path is checked before it hears of us.
  return sockRef_ && sockUrl() && platform::SocketFile(*sockUrl()).isOurSocket() &&
         sockRef_->connectTo(*sockUrl(), socketTimeout);
}

void SocketClient::link() {
  sockRef_->addTo(*platform::RunLoop::current());
  descriptor_.store(sockRef_->descriptor(), std::memory_order_release);
  setState(SocketClientStatus::linked);
}

void SocketClient::setState(SocketClientStatus newState) {
  state_ = newState;
  if (delegate_ != nullptr) delegate_->stateChanged(*this, newState);
}

void SocketClient::received(std::string_view block) {
  const auto held = shared_from_this();
  if (block.empty()) {
    stop();
  } else {
    dataReceived(block);
  }
}

void SocketClient::dataReceived(std::string_view data) {
  if (delegate_ == nullptr) return;
  if (const auto text = platform::stringInKeyedArchive(data)) {
    delegate_->textReceived(*this, *text);
  } else {
    delegate_->dataReceived(*this, data);
  }
}

bool SocketClient::stop() {
  // A delegate may release this object.
  const auto held = shared_from_this();
  descriptor_.store(-1, std::memory_order_release);
  setState(SocketClientStatus::disconnecting);
  sockRef_.reset();
  if (delegate_ != nullptr) delegate_->disconnect(*this);
  setState(SocketClientStatus::disconnected);
  return true;
}

}  // namespace quelto::crash
