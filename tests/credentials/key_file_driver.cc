#include <cstdio>
#include <string>
#include <string_view>
#include <thread>

#include "platform/threads/semaphore.h"
#include "securefile/key_file.h"

namespace {

using quelto::items::SecureNote;
using quelto::securefile::KeyFile;

SecureNote note(const char* name) { return {.account = "org", .name = name}; }

const char* truth(bool value) { return value ? "true" : "false"; }

/// `add NAME PASSWORD`, `password NAME` or `delete NAME`.
void run(std::string_view action, const char* name, const char* password) {
  if (action == "add") {
    std::puts(truth(KeyFile::addSecItem(note(name), quelto::platform::Secret(password))));
  } else if (action == "password") {
    const auto found = KeyFile::loadSecItemPassword(note(name));
    std::puts(found ? std::string(found->view()).c_str() : "(absent)");
  } else {
    std::puts(truth(KeyFile::deleteSecItem(note(name), KeyFile::DeleteAll::yes)));
  }
}

}  // namespace

/// Does one thing with the user's own password file, and prints the result: `key_file_driver main|worker
/// ACTION...`. A worker does it while the main thread waits, as in the tool.
int main(int argc, char** argv) {
  if (argc < 4) return 2;
  const auto work = [&] { run(argv[2], argv[3], argc > 4 ? argv[4] : ""); };
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
