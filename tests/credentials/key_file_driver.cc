#include <cstdio>
#include <string>
#include <string_view>
#include <thread>

#include "platform/threads/semaphore.h"
#include "securefile/key_file.h"

/// Does one thing with the user's own password file, and prints the result: `key_file_driver main|worker
/// add NAME PASSWORD` or `... password NAME`. A worker does it while the main thread waits, as in the tool.
int main(int argc, char** argv) {
  using quelto::securefile::KeyFile;
  if (argc < 4) return 2;
  const auto work = [&] {
    const quelto::items::SecureNote note{.account = "org", .name = argv[3]};
    if (argc > 4) {
      std::puts(KeyFile::addSecItem(note, quelto::platform::Secret(argv[4])) ? "true" : "false");
    } else {
      const auto found = KeyFile::loadSecItemPassword(note);
      std::puts(found ? std::string(found->view()).c_str() : "(absent)");
    }
  };
  if (argv[1] == std::string_view("main")) {
    work();
    return 0;
  }
  quelto::platform::Semaphore finish(0);
  const std::jthread worker([&] {
    work();
    finish.signal();
  });
  finish.wait();
  return 0;
}
