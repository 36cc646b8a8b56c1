#include <cstdlib>
#include <string>

#include "crash/crash_handler_signal.h"

/// A symbol, and the same bytes as a whole line: what is found has a method that ends with a bracket, and no
/// blank that would part a symbol.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using quelto::crash::CrashHandler;
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (const std::string& line : {text, "0 tool 0x1 " + text, "0 tool 0x1 _Z" + text}) {
    for (const bool withParent : {false, true}) {
      const auto found = CrashHandler::classAndMethodForStackSymbol(line, withParent);
      if (!found) continue;
      const std::string_view method = found->method;
      if (method.empty() || method.back() != ')' || method.find(' ') != method.npos) std::abort();
    }
  }
  return 0;
}
