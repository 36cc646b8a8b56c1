#pragma once

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/files/unique_fd.h"
#include "platform/secrets/secret.h"

/// What a test changes or watches of the process that it runs in.
namespace quelto::test {

/// Everything that this process writes to a descriptor while the object lives.
class Captured {
 public:
  explicit Captured(int descriptor)
      : descriptor_(descriptor),
        before_(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0)),
        text_(::memfd_create("captured", MFD_CLOEXEC)) {
    ::dup2(text_.get(), descriptor_);
  }
  ~Captured() { ::dup2(before_.get(), descriptor_); }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;
  [[nodiscard]] std::string text() const {
    return (std::stringstream() << std::ifstream("/proc/self/fd/" + std::to_string(text_.get())).rdbuf())
        .str();
  }

 private:
  int descriptor_;
  platform::UniqueFd before_;
  platform::UniqueFd text_;
};

/// While it lives, this thread and those that it starts may lock one page of memory, root's too.
class LittleLockedMemory {
 public:
  LittleLockedMemory() {
    ::getrlimit(RLIMIT_MEMLOCK, &before_);
    const rlimit little{.rlim_cur = 4096, .rlim_max = before_.rlim_max};
    ::setrlimit(RLIMIT_MEMLOCK, &little);
    ::syscall(SYS_capget, &header_, capabilities_);
    effectiveBefore_ =
        std::exchange(capabilities_[0].effective, capabilities_[0].effective & ~(1U << CAP_IPC_LOCK));
    ::syscall(SYS_capset, &header_, capabilities_);
  }
  ~LittleLockedMemory() {
    ::setrlimit(RLIMIT_MEMLOCK, &before_);
    capabilities_[0].effective = effectiveBefore_;
    ::syscall(SYS_capset, &header_, capabilities_);
  }
  LittleLockedMemory(const LittleLockedMemory&) = delete;
  LittleLockedMemory& operator=(const LittleLockedMemory&) = delete;

 private:
  rlimit before_{};
  __user_cap_header_struct header_{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
  __user_cap_data_struct capabilities_[2]{};
  __u32 effectiveBefore_ = 0;
};

/// Sees whether the threads that our code has started since then end. They bear the program's name, as those
/// that GLib starts for itself do not.
class OwnThreads {
 public:
  OwnThreads() {
    // With the first thread a sanitizer starts one of its own.
    std::thread([] {}).join();
    before_ = count();
  }
  [[nodiscard]] bool haveEnded() const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (count() > before_ && std::chrono::steady_clock::now() < deadline) continue;
    return count() <= before_;
  }

 private:
  static std::string textIn(const std::filesystem::path& file) {
    return (std::stringstream() << std::ifstream(file).rdbuf()).str();
  }
  static int count() {
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
      if (textIn(task.path() / "comm") == textIn("/proc/self/comm")) ++count;
    }
    return count;
  }

  int before_ = 0;
};

/// A secret that stands nowhere in the program: each byte of `inverse` inverted.
inline platform::Secret secretFrom(std::string_view inverse) {
  platform::Secret secret = platform::Secret::ofSize(inverse.size());
  std::ranges::transform(inverse, secret.data(), std::bit_not());
  return secret;
}

/// Whether that secret stands anywhere in this process's writable memory.
inline bool isInMemory(std::string_view inverse) {
  constexpr std::size_t blockSize = std::size_t{1} << 20U;
  // Larger ones are a sanitizer's notes on the memory, not the memory.
  constexpr std::size_t largest = std::size_t{1} << 30U;
  const platform::UniqueFd memory(::open("/proc/self/mem", O_RDONLY | O_CLOEXEC));
  platform::Secret block = platform::Secret::ofSize(blockSize);
  const auto first = static_cast<char>(~inverse.front());
  const auto isInverse = [](char one, char other) { return one == static_cast<char>(~other); };
  std::ifstream mappings("/proc/self/maps");
  for (std::string line; std::getline(mappings, line);) {
    std::size_t at = 0;
    std::size_t end = 0;
    char mode[5];
    std::sscanf(line.c_str(), "%zx-%zx %4s", &at, &end, mode);
    if (mode[1] != 'w' || end - at > largest) continue;
    // Blocks overlap, so that none cuts the secret in two.
    for (ssize_t length = 0; at < end; at += blockSize - inverse.size()) {
      length = ::pread(memory.get(), block.data(), std::min(blockSize, end - at), static_cast<off_t>(at));
      if (length <= 0) break;
      const std::string_view bytes = block.view().substr(0, static_cast<std::size_t>(length));
      for (std::size_t found = bytes.find(first); found != bytes.npos; found = bytes.find(first, found + 1)) {
        if (std::ranges::equal(bytes.substr(found, inverse.size()), inverse, isInverse)) return true;
      }
    }
  }
  return false;
}

}  // namespace quelto::test
