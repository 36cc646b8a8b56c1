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
#include "keychain/embedded/item_index.h"
#include "keychain/embedded/master_key.h"
#include "keychain/embedded/schema.h"
#include "keychain/embedded/stored_item.h"
#include "keychain/embedded/transaction.h"
#include "platform/files/private_folder.h"
#include "tests/support/temporary_folder.h"

namespace quelto::bench {
namespace {

using keychain::errSecItemNotFound;
using keychain::errSecSuccess;
using platform::Secret;
using keychain::Attributes;
using keychain::EmbeddedKeychain;
using keychain::HowMany;
using keychain::Item;
using keychain::ItemClass;
using keychain::ItemStore;

/// Ends the program when a benchmark has not done what it measures.
void require(bool condition, const char* otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

/// A kind of item, numbered from 0, and how it is looked for.
struct Kind {
  ItemClass itemClass;
  std::vector<std::string> identity;
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

/// The worst case: each value stands in half of the items, and what is looked for in none.
Attributes alternating(int number) {
  Attributes attributes = sshAccount(number);
  attributes.insert_or_assign("server", host(number % 2));
  attributes.insert_or_assign("path", std::to_string(number));
  return attributes;
}
Attributes matchOfAlternating(int number) {
  return {{"server", host(number % 2)}, {"port", std::to_string(23 - number % 2)}};
}

const Kind remembered{ItemClass::genericPassword,
                      {"account", "service", "generic", "type"},
                      rememberedName,
                      matchOfRememberedName};
const std::vector<std::string> internetIdentity{"account", "server",   "port",  "protocol",
                                                "path",    "authtype", "domain"};
const Kind ssh{ItemClass::internetPassword, internetIdentity, sshAccount, matchOfSshAccount};
const Kind worst{ItemClass::internetPassword, internetIdentity, alternating, matchOfAlternating};

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
    require(store.add(itemOf(kind, 0), kind.identity) == errSecSuccess, "the first item was not added");
    const auto folder = keychain::PrivateFolder::openOrMake(folder_.path());
    embedded::Database database(folder.pathOf(embedded::databaseName),
                                embedded::Deadline(std::chrono::minutes(5)));
    embedded::Transaction transaction(embedded::Transaction::Writing{database, folder});
    const Secret key = masterKey(database, folder);
    for (int number = 1; number < items; ++number) {
      listItem(database, insertItem(database, key, itemOf(kind, number)));
    }
    transaction.commit();
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

void worstLookUp(benchmark::State& state) {
  ItemStore& store = filled(worst, state).store;
  for (auto _ : state) {
    Item found;
    require(store.find({worst.itemClass, worst.match(0)}, ItemStore::Want::attributes, found) ==
                errSecItemNotFound,
            "something was found");
  }
}

void add(benchmark::State& state, const Kind& kind) {
  ItemStore& store = filled(kind, state).store;
  int number = 1'000'000;
  for (auto _ : state)
    require(store.add(itemOf(kind, ++number), kind.identity) == errSecSuccess, "not added");
  while (number > 1'000'000) {
    require(store.remove({kind.itemClass, kind.attributes(number--)}, HowMany::first) == errSecSuccess,
            "not removed");
  }
}

void update(benchmark::State& state, const Kind& kind) {
  ItemStore& store = filled(kind, state).store;
  const Secret secret("another secret");
  std::int64_t turn = 0;
  for (auto _ : state) {
    require(store.updateSecret({kind.itemClass, kind.match(scattered(++turn, state))}, HowMany::all,
                               secret) == errSecSuccess,
            "not updated");
  }
}

void remove(benchmark::State& state, const Kind& kind) {
  ItemStore& store = filled(kind, state).store;
  std::int64_t turn = 0;
  for (auto _ : state) {
    const int number = scattered(++turn, state);
    require(store.remove({kind.itemClass, kind.match(number)}, HowMany::all) == errSecSuccess, "not removed");
    state.PauseTiming();
    require(store.add(itemOf(kind, number), kind.identity) == errSecSuccess, "not added again");
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
          isAdded &=
              store.add(itemOf(remembered, process * itemsOfEach + i), remembered.identity) == errSecSuccess;
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
BENCHMARK(worstLookUp)->Apply(byItems);
BENCHMARK_CAPTURE(add, rememberedName, remembered)->Apply(byItemsOnDisk);
BENCHMARK_CAPTURE(add, sshAccount, ssh)->Apply(byItemsOnDisk);
BENCHMARK_CAPTURE(update, sshAccount, ssh)->Apply(byItemsOnDisk);
BENCHMARK_CAPTURE(remove, sshAccount, ssh)->Apply(byItemsOnDisk);
BENCHMARK(addFromProcesses)->Arg(1)->Arg(16)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace quelto::bench
