#pragma once

#include <cstddef>

namespace quelto::platform {

/// A stack of its own for the handlers of one thread (sigaltstack(2)), so that they run when the thread's own
/// stack has overflowed. Lives on the thread that made it and ends before that thread does. Without memory
/// the handlers stay on the thread's own stack.
class AlternateStack {
 public:
  /// Room for the unwinder, and for a demangler that takes a long symbol name apart (up to half of it). Only
  /// what is used takes memory.
  static constexpr std::size_t size = std::size_t{1} << 20;

  AlternateStack();
  ~AlternateStack();
  AlternateStack(const AlternateStack&) = delete;
  AlternateStack& operator=(const AlternateStack&) = delete;

 private:
  void* memory_;
};

}  // namespace quelto::platform
