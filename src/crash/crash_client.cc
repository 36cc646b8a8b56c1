#include "crash/crash_client.h"

#include "platform/bundle/bundle.h"
#include "platform/text/harmless_text.h"
#include "platform/user/group_container.h"

namespace quelto::crash {
namespace {

/// On one line, since a control character could be taken for the end of a field or of a packet.
std::string programName() {
  const auto executable = platform::Bundle::mainBundle().executablePath();
  if (!executable) return "<unknown>";
  return platform::displayableText(platform::singleLineText(executable->substr(executable->rfind('/') + 1)));
}

}  // namespace

CrashClient::CrashClient(std::string_view appGroup, std::string_view securitySuffix,
                         std::string_view socketFileName)
    : programName_(programName()) {
  const auto folder = platform::containerFolder(std::string(appGroup).append(securitySuffix));
  if (!folder) return;
  client_ = SocketClient::make(*folder + "/" + std::string(socketFileName));
  client_->setDelegate(this);
  client_->start();
}

CrashClient::~CrashClient() {
  if (client_ == nullptr) return;
  client_->setDelegate(nullptr);
  client_->stop();
}

bool CrashClient::start() { return client_ != nullptr && client_->start(); }

void CrashClient::stop() {
  if (client_ != nullptr) client_->stop();
}

}  // namespace quelto::crash
