#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <thread>

#include "platform/files/unique_fd.h"
#include "platform/secrets/secret.h"
#include "tests/support/temporary_folder.h"

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
  [[nodiscard]] std::string text() const { return contentOf("/proc/self/fd/" + std::to_string(text_.get())); }

 private:
  int descriptor_;
  platform::UniqueFd before_;
  platform::UniqueFd text_;
};

/// As on a disk that is full once so many bytes of a file are written.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{.rlim_cur = bytes, .rlim_max = before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &before_); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_{};
};

/// Sees whether the threads that our code has started since then end. They have the program's name; those
/// that GLib starts for itself have not.
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
  static int count() {
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
      if (contentOf(task.path() / "comm") == contentOf("/proc/self/comm")) ++count;
    }
    return count;
  }

  int before_ = 0;
};

/// A secret that the program's own text does not contain: each byte of `inverse` inverted.
inline platform::Secret secretFrom(std::string_view inverse) {
  platform::Secret secret = platform::Secret::ofSize(inverse.size());
  std::ranges::transform(inverse, secret.data(), std::bit_not());
  return secret;
}

/// Whether that secret is anywhere in this process's writable memory.
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
