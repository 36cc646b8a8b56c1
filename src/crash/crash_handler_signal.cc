#include "crash/crash_handler_signal.h"

#include <signal.h>
#include <unistd.h>

#include <span>

#include "crash/crash_clock_signal.h"
#include "platform/call_stack/call_stack_signal.h"
#include "platform/signals/alternate_stack.h"
#include "platform/signals/disposition_signal.h"
#include "platform/signals/leave_signal.h"
#include "platform/signals/system_calls_signal.h"

namespace quelto::crash {
namespace {

/// At most; a report of that size takes three seconds to send.
constexpr std::size_t maximumReportLength = std::size_t{64} << 10;
constexpr std::size_t maximumEntries = 128;
constexpr std::string_view lineEnd = "\r\n";

/// What ends a process by default and comes from outside, as when svn is done with its tunnel or a terminal
/// hangs up.
constexpr std::array endingSignals{SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGALRM, SIGUSR1, SIGUSR2};

constinit std::atomic<int> reportedSignal{0};
constinit platform::FixedText<maximumReportLength> report;
constinit std::array<platform::StackEntry, maximumEntries> entries{};

/// Made by the system or by this process for the calling thread, not sent by another process.
bool isOwnFault(const siginfo_t& info) {
  return info.si_code > 0 || (info.si_code == SI_TKILL && info.si_pid == ::getpid());
}

// Before a call that does not return, AddressSanitizer looks at all stacks and allocates: the functions that
// make one are compiled without it.

/// A signal while a report is made already.
[[gnu::no_sanitize_address]] void handleSecondSignal(int /*signal*/, siginfo_t* info,
                                                     void* /*context*/) noexcept {
  if (!platform::isLeavingThread()) platform::waitForProcessEnd();
  if (!isOwnFault(*info)) return;
  platform::abandonWalk();
  platform::leave(reportedSignal.load());
}

void writeReport(void* context) {
  report.clear();
  const std::size_t count = platform::walkCallStack(entries, context);
  for (std::size_t index = 0; index < count; ++index) {
    const platform::StackLine line = platform::stackLine(index, entries[index]);
    const std::size_t whole = report.size();
    if (const auto reduced = CrashHandler::classAndMethodForStackSymbol(line, false)) {
      report.append(reduced->className).append(' ').append(reduced->method);
    } else {
      report.append(line);
    }
    if (report.room() < lineEnd.size()) return report.shorten(whole);
    report.append(lineEnd);
  }
}

[[gnu::no_sanitize_address]] void complete() {
  // One more from outside would otherwise take its default action before the end.
  platform::blockSignals();
  platform::resetSignals(CrashHandler::signals);
  platform::leave(reportedSignal.load());
}

/// Lets the system end the process as if the signal had no handler.
[[noreturn, gnu::no_sanitize_address]] void endByDefault(int signal) {
  platform::resetSignals(CrashHandler::signals);
  platform::unblockSignals(CrashHandler::signals);
  (void)::raise(signal);
  platform::leave(signal);
}

constexpr std::string_view whitespace = " \t\n\v\f\r";

/// Word number `index` where each run of white space parts two words; absent when there are fewer.
std::optional<std::string_view> wordAt(std::string_view text, std::size_t index) {
  for (;; --index) {
    const std::size_t end = text.find_first_of(whitespace);
    if (index == 0) return text.substr(0, end);
    if (end == std::string_view::npos) return std::nullopt;
    text.remove_prefix(std::min(text.find_first_not_of(whitespace, end), text.size()));
  }
}

}  // namespace

constinit std::atomic<CrashHandler::CallBack> CrashHandler::crashCallBack{nullptr};

void CrashHandler::setup(CallBack callBack) {
  // Never freed: the handler may run until the process ends.
  static const auto* const mainStack = new platform::AlternateStack;
  (void)mainStack;
  platform::prepareCallStack();
  prepareCrashClock();
  crashCallBack = callBack;
  platform::routeFaults(signals, signalHandler);
}

void CrashHandler::signalHandler(int signal, siginfo_t* info, void* context) noexcept {
  if (!platform::leaveFromThisThreadOnly()) {
    handleSecondSignal(signal, info, context);
    return;
  }
  reportedSignal = signal;
  const CallBack callBack = crashCallBack.load();
  if (callBack == nullptr) endByDefault(signal);
  platform::routeFaults(platform::faultSignals, handleSecondSignal);
  platform::ignoreSignals(endingSignals);
  const DateText date = crashDate(localMoment());
  writeReport(context);
  callBack(report, date, complete);
}

std::optional<ClassAndMethod> CrashHandler::classAndMethodForStackSymbol(
    std::string_view stackSymbol, bool includeImmediateParentClass) noexcept {
  constexpr std::size_t symbolIndex = 3;
  const auto symbol = wordAt(stackSymbol, symbolIndex);
  if (!symbol) return std::nullopt;
  const platform::SymbolName demangled = platform::_stdlib_demangleName(*symbol);
  const std::string_view name = *wordAt(demangled, 0);
  const std::size_t methodDot = name.rfind('.');
  if (methodDot == std::string_view::npos) return std::nullopt;
  const std::string_view scopes = name.substr(0, methodDot);
  std::size_t classDot = scopes.rfind('.');
  // Only where there is one more scope around the parent.
  if (includeImmediateParentClass && classDot != std::string_view::npos && classDot > 0) {
    if (const auto parentDot = scopes.rfind('.', classDot - 1); parentDot != std::string_view::npos) {
      classDot = parentDot;
    }
  }
  ClassAndMethod result;
  result.className.append(scopes.substr(classDot + 1));
  result.method.append(name.substr(methodDot + 1));
  if (!name.ends_with(')')) result.method.append(')');
  return result;
}

}  // namespace quelto::crash
