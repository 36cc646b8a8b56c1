/// Crashes as its arguments say, with the reports of the tool installed: crash_driver FAULT [THREADS]
/// [SURROUNDINGS].

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "crash/crash_handler_signal.h"
#include "launcher/crash_reports.h"
#include "launcher/program.h"
#include "platform/secrets/core_dumps.h"
#include "platform/signals/leave_signal.h"
#include "platform/signals/system_calls_signal.h"
#include "platform/threads/background.h"

namespace quelto {
namespace {

/// Where the compiler cannot see it.
constinit volatile std::uintptr_t badAddress = 8;

/// Behind the last statement of a function, keeps its frame on the stack and the function in one piece.
void stayOnStack() { asm volatile("" ::: "memory"); }

[[gnu::noinline]] void readBadAddress() {
  (void)*reinterpret_cast<volatile int*>(badAddress);
  stayOnStack();
}

[[gnu::noinline]] int overflowStack(int depth) {
  volatile char page[4096];
  page[0] = static_cast<char>(depth);
  return badAddress == 0 ? depth : overflowStack(depth + 1) + page[0];
}

/// The allocator finds the damage when it looks for the next block, in the middle of its work.
[[gnu::noinline]] void damageHeap() {
  auto* const block = static_cast<volatile char*>(std::malloc(3 * badAddress));
  for (std::size_t at = 24; at < 64; ++at) block[at] = '\xFF';
  std::vector<void*> blocks;
  for (std::size_t size = 24; size < 5000; ++size) blocks.push_back(std::malloc(size));
  stayOnStack();
}

[[gnu::noinline]] void runIllegalInstruction() {
  if (badAddress != 0) __builtin_trap();
  stayOnStack();
}

[[gnu::noinline]] void trap() {
  (void)::raise(SIGTRAP);
  stayOnStack();
}

[[gnu::noinline]] void callBadAddress() {
  reinterpret_cast<void (*)()>(badAddress - 8)();
  stayOnStack();
}

/// Lets the main thread leave.
constinit std::atomic<bool> isReporting = false;

/// What the unwinder needs to find this function's caller.
[[gnu::noinline]] void damageStack() {
  auto* const frame = static_cast<volatile std::uintptr_t*>(__builtin_frame_address(0));
  for (std::size_t at = 0; at < 200; ++at) frame[at] = 0x4141414141;
  (void)*reinterpret_cast<volatile int*>(badAddress);
}

[[gnu::noinline]] void returnToBadAddress() {
  auto* const frame = static_cast<volatile std::uintptr_t*>(__builtin_frame_address(0));
  for (std::size_t at = 1; at < 20; ++at) frame[at] = badAddress - 8;
}

const std::map<std::string, void (*)()> faults{
    {"read", readBadAddress},           {"overflow", [] { (void)overflowStack(0); }},
    {"abort", [] { std::abort(); }},    {"heap", damageHeap},
    {"illegal", runIllegalInstruction}, {"trap", trap},
    {"call", callBadAddress},           {"stack", damageStack},
    {"return", returnToBadAddress},
};

void runOnThreads(const std::string& threads, void (*crash)()) {
  if (threads == "main") crash();
  static std::atomic<int> waiting{threads == "two" ? 2 : 1};
  for (int count = waiting; count > 0; --count) {
    platform::runInBackground([crash] {
      --waiting;
      while (waiting != 0) {
      }
      crash();
    });
  }
  isReporting.wait(false);
  platform::leave(0);
}

void useHeap(std::string_view report, std::string_view /*date*/, crash::CrashHandler::Completion complete) {
  static std::string copy;
  copy = report;
  complete();
}

void crashAgain(std::string_view /*report*/, std::string_view /*date*/,
                crash::CrashHandler::Completion /*complete*/) {
  readBadAddress();
}

/// The worker reports for long enough to let the main thread leave first.
void reportSlowly(std::string_view /*report*/, std::string_view /*date*/,
                  crash::CrashHandler::Completion complete) {
  isReporting = true;
  isReporting.notify_one();
  platform::sleepFor(std::chrono::milliseconds(100));
  complete();
}

void prepare(const std::string& surroundings) {
  if (surroundings == "guarded") new platform::CoreDumpsOff;
  if (surroundings == "heap") crash::CrashHandler::crashCallBack = useHeap;
  if (surroundings == "again") crash::CrashHandler::crashCallBack = crashAgain;
  if (surroundings == "bus")
    crash::CrashHandler::crashCallBack = [](auto, auto, auto) { (void)::raise(SIGBUS); };
  if (surroundings == "leaving") crash::CrashHandler::crashCallBack = reportSlowly;
  if (surroundings == "default") crash::CrashHandler::crashCallBack = nullptr;
  if (surroundings == "allocating") {
    platform::runInBackground([] {
      for (;;) std::free(std::malloc(100'000));
    });
  }
}

}  // namespace
}  // namespace quelto

int main(int argc, char** argv) {
  using namespace quelto;
  const std::string fault = argv[1];
  const std::string threads = argc > 2 ? argv[2] : "main";
  launcher::installCrashReports(launcher::thisProgram());
  prepare(argc > 3 ? argv[3] : "");
  runOnThreads(threads, faults.at(fault));
  return 0;
}
