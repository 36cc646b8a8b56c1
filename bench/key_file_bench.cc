/// Single operations on a password file by the number of its items, beside reading and writing the same
/// bytes, which is the least that an operation on a whole file can cost. The file is in memory (/dev/shm), so
/// that no disk is measured.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "ini/ini_file.h"
#include "platform/files/read_file.h"
#include "platform/files/replace_file.h"
#include "securefile/key_file.h"
#include "tests/support/temporary_folder.h"

namespace quelto::bench {
namespace {

using items::SecureNote;
using securefile::KeyFile;

/// Ends the program when a benchmark has not done what it measures.
void require(bool condition, const char* otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

SecureNote note(std::size_t number) {
  return {.account = "org.example",
          .name = "host" + std::to_string(number),
          .generic = "org.example.ssh_account"};
}

/// The password file of this process, and a home for its keys.
class KeysHome {
 public:
  KeysHome() : folder_("/dev/shm") {
    ::setenv("HOME", folder_.path().c_str(), 1);
    for (const char* const name : {"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR", "XDG_DATA_HOME"})
      ::unsetenv(name);
    KeyFile::initSecureKey({.filePath = path()});
  }
  [[nodiscard]] std::string path() const { return folder_.path(".keys"); }

  /// Fills the file with so many items, each with the secret of the first.
  void fill(std::size_t items) const {
    std::filesystem::remove(path());
    require(KeyFile::addSecItem(note(0), platform::Secret("a password of a common length")), "not added");
    ini::IniFile file(path());
    const ini::IniSection first = file.values.begin()->value;
    for (std::size_t item = 1; item < items; ++item) {
      ini::IniSection section = first;
      section["name"] = "host" + std::to_string(item);
      file.values[KeyFile::genSectionName(section)] = std::move(section);
    }
    require(file.saveAll(120, "Head"), "not saved");
  }

 private:
  test::TemporaryFolder folder_;
};

KeysHome& home(benchmark::State& state) {
  static std::optional<KeysHome> home(std::in_place);
  home->fill(static_cast<std::size_t>(state.range(0)));
  state.SetComplexityN(state.range(0));
  return *home;
}

constexpr std::size_t maximumSize = ini::IniFile::maximumFileSize;

void readBytes(benchmark::State& state) {
  const std::string path = home(state).path();
  for (auto _ : state) require(platform::readFile(path, maximumSize).has_value(), "not read");
}

void writeBytes(benchmark::State& state) {
  const std::string path = home(state).path();
  const std::string content = platform::readFile(path, maximumSize).value();
  for (auto _ : state)
    require(platform::replaceFile(path, content, platform::Links::ownFollowed), "not written");
}

void find(benchmark::State& state) {
  home(state);
  const SecureNote last = note(static_cast<std::size_t>(state.range(0)) - 1);
  for (auto _ : state) require(KeyFile::findSecItem(last).has_value(), "not found");
}

/// Adds one item; it is removed again while the clock stands.
void add(benchmark::State& state) {
  const KeysHome& keys = home(state);
  const std::string before = platform::readFile(keys.path(), maximumSize).value();
  for (auto _ : state) {
    require(KeyFile::addSecItem(note(1'000'000), platform::Secret("s")), "not added");
    state.PauseTiming();
    require(platform::replaceFile(keys.path(), before, platform::Links::ownFollowed), "not written");
    state.ResumeTiming();
  }
}

void remove(benchmark::State& state) {
  const KeysHome& keys = home(state);
  const std::string before = platform::readFile(keys.path(), maximumSize).value();
  for (auto _ : state) {
    require(KeyFile::deleteSecItem(note(0), KeyFile::DeleteAll::yes), "not deleted");
    state.PauseTiming();
    require(platform::replaceFile(keys.path(), before, platform::Links::ownFollowed), "not written");
    state.ResumeTiming();
  }
}

void byItems(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(10)->Range(10, 10'000)->Unit(benchmark::kMicrosecond)->Complexity(benchmark::oN);
}
BENCHMARK(readBytes)->Apply(byItems);
BENCHMARK(writeBytes)->Apply(byItems);
BENCHMARK(find)->Apply(byItems);
BENCHMARK(add)->Apply(byItems);
BENCHMARK(remove)->Apply(byItems);

}  // namespace
}  // namespace quelto::bench
