#include <cstdlib>

#include "launcher/arguments.h"
#include "launcher/destination.h"
#include "util/strings.h"

/// Each line is a word. No word may come out that did not go in.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quelto;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto pieces = util::split(text, '\n');
  const std::vector<std::string> words(pieces.begin(), pieces.end());
  const auto parsed = launcher::parseArguments(words, "/usr/bin/ssh");
  if (parsed.options.size() + parsed.command.size() > words.size()) std::abort();
  for (const auto& word : parsed.command) {
    if (text.find(word) == std::string::npos) std::abort();
  }
  const auto destination = launcher::parseDestination(parsed.destination);
  return destination.host.size() <= parsed.destination.size() ? 0 : (std::abort(), 1);
}
