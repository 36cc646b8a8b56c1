#include "crash/crash_server.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/run_loop/run_loop.h"
#include "platform/user/group_container.h"
#include "util/paths.h"
#include "util/strings.h"

namespace quelto::crash {

using platform::Deadline;

CrashServer::CrashServer(std::string_view appGroup, std::string_view securitySuffix,
                         std::string_view socketFileName, CrashReceived crashReceived)
    : crashReceived_(std::move(crashReceived)) {
  const auto container = platform::makeContainerFolder(std::string(appGroup) + std::string(securitySuffix));
  if (!container) return;
  server_ = SocketServer::make(util::appendingPathComponent(*container, socketFileName));
  server_->setDelegate(this);
  start();
}

CrashServer::~CrashServer() {
  if (server_) server_->setDelegate(nullptr);
}

bool CrashServer::start() { return server_ && server_->start(); }

bool CrashServer::isRunning() const { return server_ && server_->state() == SocketServerStatus::running; }

void CrashServer::stop() {
  if (server_) server_->stop();
}

void CrashServer::processData(std::string_view text) const {
  const auto fields = util::split(text, separator);
  if (fields.size() != 4 || !crashReceived_) return;
  crashReceived_(std::string(fields[2]), std::string(fields[0]), std::string(fields[1]),
                 std::string(fields[3]));
}

void CrashServer::processAll(const std::vector<std::string>& texts) const {
  for (const auto& text : texts) processData(text);
}

Deadline CrashServer::nextDeadline() {
  if (!isRunning() || !server_->sockRef()->isPaused()) {
    endOfPause_ = Deadline::never();
  } else if (endOfPause_.time() == Deadline::never().time()) {
    endOfPause_ = Deadline(pauseOfAccepting);
  }
  toldDeadline_ = endOfPause_;
  for (const auto& [client, texts] : clients_) {
    if (texts.endOfSilence().time() < toldDeadline_.time()) toldDeadline_ = texts.endOfSilence();
  }
  return toldDeadline_;
}

void CrashServer::tick() {
  if (endOfPause_.isOver()) server_->resumeAccepting();
  std::vector<std::string> completed;
  for (auto& [client, texts] : clients_) {
    // What has come while we were busy breaks the silence, read or not.
    if (!texts.endOfSilence().isOver() || client->sockRef()->hasInput()) continue;
    std::ranges::move(texts.endLastPacket(), std::back_inserter(completed));
  }
  processAll(completed);
}

void CrashServer::dataReceived(SocketServer&, std::string_view data, SocketClient& client) {
  ClientTexts& texts = clients_[&client];
  const auto completed = texts.add(data);
  if (texts.endOfSilence().time() < toldDeadline_.time()) platform::RunLoop::current()->stop();
  processAll(completed);
}

void CrashServer::clientEnded(SocketServer&, SocketClient& client) {
  auto ended = clients_.extract(&client);
  if (!ended.empty()) processAll(ended.mapped().endLastPacket());
}

}  // namespace quelto::crash
