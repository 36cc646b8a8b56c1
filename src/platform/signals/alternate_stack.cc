#include "platform/signals/alternate_stack.h"

#include <signal.h>
#include <sys/mman.h>

namespace quelto::platform {
namespace {

/// Below the stack, so that an overflow of this one faults too; a multiple of every page size in use.
constexpr std::size_t guardSize = std::size_t{64} << 10;

}  // namespace

AlternateStack::AlternateStack()
    : memory_(::mmap(nullptr, guardSize + size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0)) {
  if (memory_ == MAP_FAILED) return;
  stack_t stack{};
  stack.ss_sp = static_cast<char*>(memory_) + guardSize;
  stack.ss_size = size;
  if (::mprotect(stack.ss_sp, size, PROT_READ | PROT_WRITE) == 0) ::sigaltstack(&stack, nullptr);
}

AlternateStack::~AlternateStack() {
  if (memory_ == MAP_FAILED) return;
  stack_t none{};
  none.ss_flags = SS_DISABLE;
  ::sigaltstack(&none, nullptr);
  ::munmap(memory_, guardSize + size);
}

}  // namespace quelto::platform
