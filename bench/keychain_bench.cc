/// The embedded keychain by its number of items, all of one class; and many processes that add at once.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "keychain/embedded/database.h"
#include "keychain/embedded/embedded_keychain.h"
#include "keychain/embedded/item_table.h"
#include "keychain/embedded/master_key.h"
#include "keychain/embedded/schema.h"
#include "keychain/embedded/transaction.h"
#include "platform/files/private_folder.h"
#include "tests/support/temporary_folder.h"

namespace quelto::bench {
namespace {

using keychain::Attributes;
using keychain::EmbeddedKeychain;
using keychain::errSecItemNotFound;
using keychain::errSecSuccess;
using keychain::Item;
using keychain::ItemClass;
using keychain::ItemStore;
using platform::Secret;

/// Ends the program when a benchmark has not done what it measures.
void require(bool condition, const char* otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

/// A kind of item, numbered from 0, and how it is looked for.
struct Kind {
  ItemClass itemClass;
  Attributes (*attributes)(int number);
  Attributes (*match)(int number);
};

std::string host(int number) { return "host-" + std::to_string(number) + ".example.org"; }

/// A remembered user name: only the host differs.
Attributes rememberedName(int number) {
  return {{"account", "username"}, {"service", host(number)},          {"generic", "group"},
          {"type", "name"},        {"description", "remembered name"}, {"label", host(number)}};
}
Attributes matchOfRememberedName(int number) {
  Attributes match = rememberedName(number);
  match.erase("label");
  return match;
}

/// An ssh account, which is looked for without its account name.
Attributes sshAccount(int number) {
  return {{"account", "user-" + std::to_string(number % 100)},
          {"server", host(number)},
          {"port", std::to_string(22 + number % 2)},
          {"protocol", "ssh "},
          {"authtype", "dflt"},
          {"domain", "group"},
          {"label", host(number)}};
}
Attributes matchOfSshAccount(int number) {
  Attributes match = sshAccount(number);
  match.erase("account");
  match.erase("label");
  return match;
}

/// Each value is in half of the items, and what is looked for is in none.
Attributes alternating(int number) {
  Attributes attributes = sshAccount(number);
  attributes.insert_or_assign("server", host(number % 2));
  attributes.insert_or_assign("path", std::to_string(number));
  return attributes;
}
Attributes matchOfAlternating(int number) {
  return {{"server", host(number % 2)}, {"port", std::to_string(23 - number % 2)}};
}

/// The worst case: all items are of one server.
Attributes sharingServer(int number) {
  Attributes attributes = alternating(number);
  attributes.insert_or_assign("server", host(0));
  return attributes;
}
Attributes matchOfSharingServer(int number) {
  return {{"server", host(0)}, {"path", std::to_string(number)}};
}

const Kind remembered{ItemClass::genericPassword, rememberedName, matchOfRememberedName};
const Kind ssh{ItemClass::internetPassword, sshAccount, matchOfSshAccount};
const Kind halves{ItemClass::internetPassword, alternating, matchOfAlternating};
const Kind shared{ItemClass::internetPassword, sharingServer, matchOfSharingServer};

Item itemOf(const Kind& kind, int number) {
  return {.itemClass = kind.itemClass,
          .attributes = kind.attributes(number),
          .secret = Secret("a secret of usual length")};
}

/// A keychain with so many items. All but the first are put in with one transaction, by the keychain's own
/// parts: one by one they would take minutes.
class FilledKeychain {
 public:
  FilledKeychain(const Kind& kind, int items) : store(folder_.path()) {
    namespace embedded = keychain::embedded;
    add(kind, 0);
    embedded::Database database(std::move(*platform::PrivateFolder::open(folder_.path())),
                                embedded::databaseName, platform::Deadline(std::chrono::minutes(5)));
    embedded::Transaction transaction(embedded::Transaction::Kind::writing, database);
    embedded::ItemTable table(database, embedded::masterKey(database));
    for (int number = 1; number < items; ++number) table.insert(itemOf(kind, number));
    transaction.commit();
  }

  void add(const Kind& kind, int number) {
    const Item item = itemOf(kind, number);
    require(store.add({&item, 1}) == errSecSuccess, "an item was not added");
  }

  [[nodiscard]] std::string path() const { return folder_.path(); }

 private:
  test::TemporaryFolder folder_;

 public:
  EmbeddedKeychain store;
};

/// Filled once for all benchmarks.
FilledKeychain& filled(const Kind& kind, benchmark::State& state) {
  static std::map<std::pair<const Kind*, std::int64_t>, std::unique_ptr<FilledKeychain>> all;
  auto& keychain = all[{&kind, state.range(0)}];
  if (!keychain) keychain = std::make_unique<FilledKeychain>(kind, static_cast<int>(state.range(0)));
  return *keychain;
}

/// Numbers all over the keychain.
int scattered(std::int64_t turn, benchmark::State& state) {
  return static_cast<int>(turn * 7919 % state.range(0));
}

void lookUp(benchmark::State& state, const Kind& kind) {
  ItemStore& store = filled(kind, state).store;
  std::int64_t turn = 0;
  for (auto _ : state) {
    Item found;
    const auto status = store.find({kind.itemClass, kind.match(scattered(++turn, state))},
                                   ItemStore::Want::attributesAndSecret, found);
    require(status == errSecSuccess && found.secret.size() > 0, "the item was not found");
  }
}

/// As the first call of a process does it, the loading of libraries apart.
void openAndLookUp(benchmark::State& state, const Kind& kind) {
  const std::string path = filled(kind, state).path();
  std::int64_t turn = 0;
  for (auto _ : state) {
    EmbeddedKeychain store(path);
    Item found;
    require(store.find({kind.itemClass, kind.match(scattered(++turn, state))}, ItemStore::Want::attributes,
                       found) == errSecSuccess,
            "the item was not found");
  }
}

void lookUpWhatIsNotThere(benchmark::State& state, const Kind& kind) {
  ItemStore& store = filled(kind, state).store;
  for (auto _ : state) {
    Item found;
    require(store.find({kind.itemClass, kind.match(1'000'000)}, ItemStore::Want::attributes, found) ==
                errSecItemNotFound,
            "something was found");
  }
}

/// Without a server: all items of the class are read.
void lookUpByLabel(benchmark::State& state, const Kind& kind) {
  FilledKeychain& keychain = filled(kind, state);
  const Attributes match{{"label", host(static_cast<int>(state.range(0)) - 1)}};
  for (auto _ : state) {
    Item found;
    require(keychain.store.find({kind.itemClass, match}, ItemStore::Want::attributes, found) == errSecSuccess,
            "the item was not found");
  }
}

void add(benchmark::State& state, const Kind& kind) {
  FilledKeychain& keychain = filled(kind, state);
  int number = 1'000'000;
  for (auto _ : state) keychain.add(kind, ++number);
  while (number > 1'000'000) {
    require(keychain.store.remove({kind.itemClass, kind.attributes(number--)}) == errSecSuccess,
            "not removed");
  }
}

void update(benchmark::State& state, const Kind& kind) {
  ItemStore& store = filled(kind, state).store;
  const Secret secret("another secret");
  std::int64_t turn = 0;
  for (auto _ : state) {
    require(
        store.updateSecret({kind.itemClass, kind.match(scattered(++turn, state))}, secret) == errSecSuccess,
        "not updated");
  }
}

void remove(benchmark::State& state, const Kind& kind) {
  FilledKeychain& keychain = filled(kind, state);
  std::int64_t turn = 0;
  for (auto _ : state) {
    const int number = scattered(++turn, state);
    require(keychain.store.remove({kind.itemClass, kind.match(number)}) == errSecSuccess, "not removed");
    state.PauseTiming();
    keychain.add(kind, number);
    state.ResumeTiming();
  }
}

/// All processes together, from the first start until the last end, with a keychain that they make.
void addFromProcesses(benchmark::State& state) {
  constexpr int itemsOfEach = 100;
  const auto processes = static_cast<int>(state.range(0));
  for (auto _ : state) {
    const test::TemporaryFolder folder;
    std::vector<pid_t> children;
    for (int process = 0; process < processes; ++process) {
      const pid_t child = ::fork();
      if (child == 0) {
        EmbeddedKeychain store(folder.path());
        bool isAdded = true;
        for (int i = 0; i < itemsOfEach; ++i) {
          const Item item = itemOf(remembered, process * itemsOfEach + i);
          isAdded &= store.add({&item, 1}) == errSecSuccess;
        }
        ::_exit(isAdded ? 0 : 1);
      }
      children.push_back(child);
    }
    for (const pid_t child : children) {
      int status = -1;
      require(::waitpid(child, &status, 0) == child && status == 0, "an add failed");
    }
    EmbeddedKeychain store(folder.path());
    for (int number = 0; number < processes * itemsOfEach; ++number) {
      Item found;
      require(store.find({remembered.itemClass, matchOfRememberedName(number)},
                         ItemStore::Want::attributesAndSecret, found) == errSecSuccess,
              "an item was lost");
    }
  }
  state.counters["items/s"] =
      benchmark::Counter(processes * itemsOfEach, benchmark::Counter::kIsIterationInvariantRate);
}

void byItems(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(10)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMicrosecond)->UseRealTime();
}

// With fixed counts: each of these waits for the disk.
void byItemsOnDisk(benchmark::internal::Benchmark* benchmark) {
  byItems(benchmark);
  benchmark->Iterations(200);
}

BENCHMARK_CAPTURE(lookUp, rememberedName, remembered)->Apply(byItems);
BENCHMARK_CAPTURE(lookUp, sshAccount, ssh)->Apply(byItems);
BENCHMARK_CAPTURE(lookUpWhatIsNotThere, sshAccount, ssh)->Apply(byItems);
BENCHMARK_CAPTURE(openAndLookUp, sshAccount, ssh)->Apply(byItems);
BENCHMARK_CAPTURE(lookUpWhatIsNotThere, halvesAgree, halves)->Apply(byItems);
BENCHMARK_CAPTURE(lookUp, oneServer, shared)->Apply(byItems);
BENCHMARK_CAPTURE(lookUpWhatIsNotThere, oneServer, shared)->Apply(byItems);
BENCHMARK_CAPTURE(lookUpByLabel, sshAccount, ssh)->Apply(byItems);
BENCHMARK_CAPTURE(add, rememberedName, remembered)->Apply(byItemsOnDisk);
BENCHMARK_CAPTURE(add, sshAccount, ssh)->Apply(byItemsOnDisk);
BENCHMARK_CAPTURE(add, oneServer, shared)->Apply(byItemsOnDisk);
BENCHMARK_CAPTURE(update, sshAccount, ssh)->Apply(byItemsOnDisk);
BENCHMARK_CAPTURE(remove, sshAccount, ssh)->Apply(byItemsOnDisk);
BENCHMARK(addFromProcesses)->Arg(1)->Arg(16)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace quelto::bench
