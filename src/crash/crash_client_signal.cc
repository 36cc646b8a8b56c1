#include <array>

#include "crash/crash_client.h"
#include "crash/crash_clock_signal.h"
#include "crash/crash_packet.h"
#include "crash/send_data_signal.h"

namespace quelto::crash {

void CrashClient::crashReport(std::optional<std::string_view> date, std::optional<std::string_view> source,
                              std::string_view version, std::string_view report) const noexcept {
  const std::string_view between(&separator, 1);
  const DateText now = date ? DateText() : sendingDate(localMoment());
  const std::array<std::string_view, 7> text{
      source.value_or(programName_), between, version, between, date.value_or(now), between, report};
  sendData(text, client_ != nullptr ? client_->descriptor() : -1);
}

}  // namespace quelto::crash
