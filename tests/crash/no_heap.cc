/// Preloaded into a program, proves that its handlers of fatal signals stay off the heap: a call of the
/// allocator on a thread that is in one ends the process with status 99.

#include <dlfcn.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace {

using Handler = void (*)(int, siginfo_t*, void*);

[[gnu::tls_model("initial-exec")]] thread_local bool isInHandler = false;
constinit std::array<Handler, NSIG> handlers{};

void enter(int signal, siginfo_t* info, void* context) {
  isInHandler = true;
  handlers[static_cast<std::size_t>(signal)](signal, info, context);
  isInHandler = false;
}

void check() {
  constexpr char message[] = "the heap was used in a signal handler\n";
  if (!isInHandler) return;
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, message, sizeof message - 1);
  ::_exit(99);
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  check();
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  check();
  return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
  check();
  return __libc_realloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  check();
  return __libc_memalign(alignment, size);
}

void free(void* memory) {
  check();
  __libc_free(memory);
}

int sigaction(int signal, const struct sigaction* action, struct sigaction* before) {
  static const auto next = reinterpret_cast<int (*)(int, const struct sigaction*, struct sigaction*)>(
      ::dlsym(RTLD_NEXT, "sigaction"));
  if (action == nullptr || (action->sa_flags & SA_SIGINFO) == 0) return next(signal, action, before);
  struct sigaction wrapped = *action;
  handlers[static_cast<std::size_t>(signal)] = wrapped.sa_sigaction;
  wrapped.sa_sigaction = enter;
  return next(signal, &wrapped, before);
}
}
