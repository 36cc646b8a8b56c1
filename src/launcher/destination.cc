#include "launcher/destination.h"

#include <vector>

#include "util/strings.h"

namespace quelto::launcher {

Destination parseDestination(std::string_view destination) {
  Destination result;
  std::string_view rest = destination;
  if (const auto pieces = util::split(destination, '@'); pieces.size() == 2) {
    result.username = util::trim(pieces[0]);
    rest = util::trim(pieces[1]);
  }
  if (const auto pieces = util::split(rest, ':'); pieces.size() == 2) {
    result.host = util::trim(pieces[0]);
    result.port = util::decimalInteger(util::trim(pieces[1])).value_or(0);
  } else {
    result.host = rest;
  }
  return result;
}

}  // namespace quelto::launcher
