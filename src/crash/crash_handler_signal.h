#pragma once

#include <array>
#include <atomic>
#include <csignal>
#include <optional>
#include <string_view>

#include "platform/call_stack/symbol_name_signal.h"

namespace quelto::crash {

/// The parts of a stack line that tell a reader where the program was.
struct ClassAndMethod {
  platform::SymbolName className;
  platform::SymbolName method;
};

/// Turns a fatal signal into a short report on the call stack. From the signal to the process's end nothing
/// allocates, locks or formats through the library.
class CrashHandler {
 public:
  /// In the order in which they are routed and reset.
  static constexpr std::array<int, 5> signals{SIGINT, SIGSEGV, SIGTRAP, SIGABRT, SIGILL};

  /// Resets the signals to their default action and ends the process with the number of its signal as status.
  using Completion = void (*)();

  /// What is done with a report. Called on the thread of the signal, in its handler, so it must be
  /// signal-safe; the texts are valid for the call. It ends with `complete`, which does not return. `date`:
  /// "yyyy-MM-dd_HH:mm:ss" in local time. `report`: a line for each entry of the call stack, innermost first,
  /// each ended by CR LF: class and method, or the entry itself where it has none. The innermost 128 entries
  /// are reported.
  using CallBack = void (*)(std::string_view report, std::string_view date, Completion complete);

  /// Without one the signal takes its default action.
  static constinit std::atomic<CallBack> crashCallBack;

  /// Prepares the handler for all threads and routes the signals to it. Threads other than the caller need an
  /// `AlternateStack` to report an overflow of their stack. Main thread, once.
  static void setup(CallBack callBack);

  /// The handler of `signals`. One thread reports; the others that a signal reaches meanwhile wait for the
  /// end. A second fault of the reporting thread ends the process at once, with the number of the first
  /// signal as status; signals that end a process by default are ignored while the report is made.
  /// Signal-safe.
  static void signalHandler(int signal, siginfo_t* info, void* context) noexcept;

  /// Reduces a stack line ("index image address symbol + offset") to the class, or innermost namespace, and
  /// the method of its symbol; absent when it has fewer than four words, or a symbol without a scope. With
  /// `includeImmediateParentClass` the class is preceded by the scope around it and ".". Signal-safe.
  [[nodiscard]] static std::optional<ClassAndMethod> classAndMethodForStackSymbol(
      std::string_view stackSymbol, bool includeImmediateParentClass) noexcept;
};

}  // namespace quelto::crash
