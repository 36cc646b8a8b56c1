#include <sysexits.h>

#include <string>
#include <string_view>

#include "platform/files/standard_streams.h"
#include "programs/collector/collector.h"

namespace {

using quelto::collector::Collector;
using quelto::collector::Output;

constexpr std::string_view usage =
    "usage: quelto-collector [--print]\n"
    "       quelto-collector --help | --version\n";
constexpr std::string_view version = "quelto-collector " QUELTO_VERSION "\n";

int print(std::string_view text) { return quelto::platform::writeStandardOutput(text) ? 0 : 1; }

}  // namespace

int main(int argumentCount, char** arguments) {
  if (!quelto::platform::openMissingStandardStreams()) return 1;
  const std::string_view option = argumentCount > 1 ? arguments[1] : "";
  if (argumentCount == 1) return Collector(Output::keptInFiles).run();
  if (argumentCount == 2 && option == "--print") return Collector(Output::printed).run();
  if (argumentCount == 2 && option == "--help") return print(usage);
  if (argumentCount == 2 && option == "--version") return print(version);
  static_cast<void>(quelto::platform::writeStandardError(usage));
  return EX_USAGE;
}
