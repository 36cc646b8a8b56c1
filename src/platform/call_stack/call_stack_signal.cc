#include "platform/call_stack/call_stack_signal.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <setjmp.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

#include <array>
#include <atomic>
#include <optional>

#include "platform/call_stack/elf_symbols_signal.h"
#include "platform/files/unique_fd.h"

namespace quelto::platform {
namespace {

/// This program's file, for as long as the process lives: a process that keeps a secret may not open it
/// again.
struct ProgramFile {
  int descriptor = -1;
  FixedText<255> name;
};
constinit ProgramFile programFile;

struct Walk {
  std::span<StackEntry> entries;
  std::size_t count = 0;
  /// Where the thread jumped to without finding code.
  std::optional<std::uintptr_t> wildAddress;
  sigjmp_buf end{};
  std::atomic<bool> isUnderWay = false;
};
constinit Walk walk;

bool isInImage(std::uintptr_t address, dl_find_object* image) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): an address is what it is asked for
  return ::_dl_find_object(reinterpret_cast<void*>(address), image) == 0;
}

void addEntry(const StackEntry& entry) {
  if (walk.count < walk.entries.size()) walk.entries[walk.count++] = entry;
}

_Unwind_Reason_Code takeFrame(_Unwind_Context* context, void* /*unused*/) {
  int isBeforeInstruction = 0;
  const std::uintptr_t address = _Unwind_GetIPInfo(context, &isBeforeInstruction);
  if (address == 0) return _URC_END_OF_STACK;
  if (isBeforeInstruction != 0 && walk.wildAddress) {
    addEntry({.address = *walk.wildAddress, .isReturnAddress = false});
    walk.wildAddress.reset();
    isBeforeInstruction = 0;
  }
  addEntry({.address = address, .isReturnAddress = isBeforeInstruction == 0});
  return walk.count < walk.entries.size() ? _URC_NO_REASON : _URC_END_OF_STACK;
}

/// A call of a bad address has left its return address where the unwinder does not look for it, since it
/// knows no function there. Puts the interrupted thread back to just behind that call, which is never
/// resumed.
void returnFromWildJump(ucontext_t& context) {
#if defined(__x86_64__)
  greg_t& instruction = context.uc_mcontext.gregs[REG_RIP];
  greg_t& stack = context.uc_mcontext.gregs[REG_RSP];
  dl_find_object image{};
  if (isInImage(static_cast<std::uintptr_t>(instruction), &image)) return;
  walk.wildAddress = static_cast<std::uintptr_t>(instruction);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the register holds the stack's address
  instruction = *reinterpret_cast<const greg_t*>(stack);
  stack += static_cast<greg_t>(sizeof(greg_t));
#else
  (void)context;
#endif
}

std::string_view lastComponent(std::string_view path) { return path.substr(path.rfind('/') + 1); }

/// Behind a blank, the rest of a line would be taken for something else.
void appendImageName(StackLine& line, std::string_view name) {
  constexpr std::size_t maximumLength = 64;
  for (const char character : name.substr(0, maximumLength)) {
    line.append(character > ' ' && character <= '~' ? character : '_');
  }
}

Symbol symbolIn(const dl_find_object& image, std::uintptr_t address) {
  const link_map& map = *image.dlfo_link_map;
  const LoadedImage loaded{.header = image.dlfo_map_start, .bias = map.l_addr};
  if (*map.l_name == '\0') return symbolInFile(programFile.descriptor, loaded, address);
  // What the system itself has mapped has no path.
  if (*map.l_name != '/') return {};
  const UniqueFd file(::open(map.l_name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  return symbolInFile(file.get(), loaded, address);
}

}  // namespace

void prepareCallStack() {
  std::array<char, 4096> path{};
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  programFile.name.clear();
  programFile.name.append(lastComponent({path.data(), length > 0 ? static_cast<std::size_t>(length) : 0}));
  if (programFile.descriptor < 0) programFile.descriptor = ::open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  std::array<StackEntry, 4> entries{};
  (void)walkCallStack(entries, nullptr);
}

std::size_t walkCallStack(std::span<StackEntry> entries, void* context) noexcept {
  walk.entries = entries;
  walk.count = 0;
  walk.wildAddress.reset();
  if (sigsetjmp(walk.end, 1) == 0) {
    walk.isUnderWay = true;
    if (context != nullptr) returnFromWildJump(*static_cast<ucontext_t*>(context));
    _Unwind_Backtrace(takeFrame, nullptr);
  }
  walk.isUnderWay = false;
  // The jump left no caller behind, as by a damaged return address.
  if (walk.wildAddress) addEntry({.address = *walk.wildAddress, .isReturnAddress = false});
  return walk.count;
}

void abandonWalk() noexcept {
  if (walk.isUnderWay) siglongjmp(walk.end, 1);
}

StackLine stackLine(std::size_t index, const StackEntry& entry) noexcept {
  constexpr std::size_t imageColumn = 4;
  constexpr std::size_t addressColumn = 40;
  constexpr std::size_t addressDigits = 16;
  dl_find_object image{};
  const std::uintptr_t inside = entry.address - (entry.isReturnAddress ? 1 : 0);
  const bool isKnown = isInImage(inside, &image);
  StackLine line;
  line.appendNumber(index).padTo(imageColumn);
  const std::string_view path = isKnown ? image.dlfo_link_map->l_name : "";
  const std::string_view name = isKnown && path.empty() ? programFile.name.view() : lastComponent(path);
  appendImageName(line, name.empty() ? "???" : name);
  line.padTo(addressColumn - 1).append(" 0x").appendNumber(entry.address, addressDigits, 16).append(' ');
  const Symbol symbol = isKnown ? symbolIn(image, inside) : Symbol();
  const std::uintptr_t bias = isKnown ? image.dlfo_link_map->l_addr : 0;
  if (symbol.name.size() != 0) {
    line.append(symbol.name).append(" + ").appendNumber(symbol.offset + (entry.address - inside));
  } else {
    line.append("0x").appendNumber(bias, 1, 16).append(" + ").appendNumber(entry.address - bias);
  }
  return line;
}

}  // namespace quelto::platform
