#include "programs/dialog/request_channel.h"

#include <glibmm/main.h>
#include <poll.h>

#include <array>

#include "platform/dialog/dialog_protocol.h"
#include "platform/files/descriptor_io.h"

namespace quelto::dialog {
namespace {

namespace protocol = platform::dialog;

void send(platform::PropertyListDictionary answer, std::string_view state) {
  answer.insert_or_assign(std::string(protocol::stateKey), std::string(state));
  // A tool that is gone ends this program.
  (void)platform::writeAll(protocol::answerDescriptor, protocol::frameOf(answer));
}

}  // namespace

std::optional<platform::PropertyListDictionary> RequestChannel::receive() {
  protocol::FrameReader reader;
  std::array<char, 4096> buffer;
  for (;;) {
    if (auto request = reader.next()) return request->empty() ? std::nullopt : std::move(request);
    const auto count = platform::readSome(protocol::requestDescriptor, buffer);
    if (!count || *count == 0) return std::nullopt;
    reader.append({buffer.data(), *count});
    if (reader.isBroken()) return std::nullopt;
  }
}

bool RequestChannel::isToolGone() {
  pollfd request{.fd = protocol::requestDescriptor, .events = 0, .revents = 0};
  return ::poll(&request, 1, 0) > 0;
}

void RequestChannel::whenToolIsGone(const sigc::slot<void()>& slot) {
  Glib::signal_io().connect(
      [slot](Glib::IOCondition) {
        slot();
        return false;
      },
      protocol::requestDescriptor,
      Glib::IOCondition::IO_HUP | Glib::IOCondition::IO_ERR | Glib::IOCondition::IO_IN);
}

void RequestChannel::sendUnavailable() { send({}, protocol::unavailable); }

void RequestChannel::sendShown() { send({}, protocol::shown); }

void RequestChannel::sendAnswer(std::uint32_t flags, const std::optional<std::string>& fieldText) {
  platform::PropertyListDictionary answer{{std::string(protocol::flagsKey), std::uint64_t{flags}}};
  if (fieldText) answer.insert_or_assign(std::string(protocol::fieldTextKey), *fieldText);
  send(std::move(answer), protocol::answered);
}

}  // namespace quelto::dialog
