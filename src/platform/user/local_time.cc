#include "platform/user/local_time.h"

#include <time.h>

namespace quelto::platform {

std::optional<std::chrono::seconds> offsetFromUtc(std::chrono::sys_seconds moment) {
  // localtime_r reads the zone once only.
  ::tzset();
  const time_t time = moment.time_since_epoch().count();
  tm local{};
  if (::localtime_r(&time, &local) == nullptr) return std::nullopt;
  return std::chrono::seconds(local.tm_gmtoff);
}

}  // namespace quelto::platform
