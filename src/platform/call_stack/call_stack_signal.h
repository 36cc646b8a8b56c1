#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/call_stack/fixed_text.h"

/// The call stack of a thread in a signal handler. One thread of the process at a time walks or describes,
/// the one that crashes.
namespace quelto::platform {

/// One entry of a call stack.
struct StackEntry {
  std::uintptr_t address = 0;
  /// The address behind a call, which may be the first of the next function already.
  bool isReturnAddress = true;
};

/// A text for one entry.
using StackLine = FixedText<1279>;

/// Opens this program's file and warms the unwinder up, so that later calls find both without the heap and
/// without the loader's locks; the file's name is that of now, whatever becomes of the file. Main thread
/// only.
void prepareCallStack();

/// Fills in the calling thread's stack, innermost call first, and returns how many entries it has, at most
/// `entries.size()`. `context` is what the signal handler was given. After a jump to where no code is, the
/// stack goes on with the caller that the jump left behind (on x86-64). A fault on the way, as from a damaged
/// stack, ends the walk: its signal handler must call `abandonWalk`. Signal-safe.
[[nodiscard]] std::size_t walkCallStack(std::span<StackEntry> entries, void* context) noexcept;

/// Ends the walk that this thread is in; does not return then. Returns when it is in none. For a handler of a
/// fault. Signal-safe.
void abandonWalk() noexcept;

/// "index image address symbol + offset", parted by blanks. The symbol is the function's mangled name; where
/// that is not known, the address of the image in memory, and the offset then is the one in the image's file
/// that addr2line(1) takes. Signal-safe.
[[nodiscard]] StackLine stackLine(std::size_t index, const StackEntry& entry) noexcept;

}  // namespace quelto::platform
