/// Looking up one secret in a real keyring daemon, on a bus of its own: through our module, again and again
/// in one process and once in a fresh one, and by `secret-tool`. With "--look-up-once" this is that fresh
/// process.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "keychain/item_store.h"
#include "platform/bundle/module.h"
#include "tests/support/keyring_surroundings.h"

namespace quelto::bench {
namespace {

using namespace keychain;

constexpr std::string_view lookUpOnce = "--look-up-once";
constexpr std::string_view secret = "a password of a common length";

/// Ends the program when a benchmark has not done what it measures.
void require(bool condition, const char* otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

ItemStore& store() {
  static auto* const instance =
      platform::moduleService<ItemStore>("libquelto_secret_service.so", "queltoSecretServiceStore");
  require(instance != nullptr, "the module cannot be opened");
  return *instance;
}

Attributes attributesOf(const std::string& account) { return {{"account", account}, {"service", "svn"}}; }

void add(const std::string& account) {
  const Item item{.itemClass = ItemClass::genericPassword,
                  .attributes = attributesOf(account),
                  .secret = platform::Secret(secret)};
  const OSStatus status = store().add({&item, 1});
  require(status == errSecSuccess, "nothing was added");
}

void lookUp() {
  Item found;
  const auto status =
      store().find({.itemClass = ItemClass::genericPassword, .attributes = attributesOf("alice")},
                   ItemStore::Want::attributesAndSecret, found);
  require(status == errSecSuccess && found.secret.view() == secret, "the secret was not found");
}

void run(std::vector<std::string> words) {
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t id = 0;
  int status = -1;
  if (::posix_spawnp(&id, pointers[0], &actions, nullptr, pointers.data(), environ) == 0)
    ::waitpid(id, &status, 0);
  ::posix_spawn_file_actions_destroy(&actions);
  require(status == 0, "a process failed");
}

void ourModule(benchmark::State& state) {
  for (auto _ : state) lookUp();
}

void ourModuleInAFreshProcess(benchmark::State& state) {
  for (auto _ : state) run({"/proc/self/exe", std::string(lookUpOnce)});
}

void secretTool(benchmark::State& state) {
  for (auto _ : state)
    run({"secret-tool", "lookup", "class", "org.quelto.genericPassword", "service", "svn", "account",
         "alice"});
}

BENCHMARK(ourModule)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(ourModuleInAFreshProcess)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(secretTool)->Unit(benchmark::kMicrosecond)->UseRealTime();

/// A keyring as a person may have it, in which one item is looked for.
void runInAKeyring() {
  test::KeyringSurroundings surroundings;
  surroundings.startKeyring();
  add("alice");
  for (int other = 0; other < 100; ++other) add("other " + std::to_string(other));
  benchmark::RunSpecifiedBenchmarks();
}

}  // namespace
}  // namespace quelto::bench

int main(int argumentCount, char** arguments) {
  if (argumentCount == 2 && arguments[1] == quelto::bench::lookUpOnce) {
    quelto::bench::lookUp();
    // As the tool leaves: nothing is destroyed.
    ::_exit(0);
  }
  benchmark::Initialize(&argumentCount, arguments);
  quelto::bench::runInAKeyring();
  return 0;
}
