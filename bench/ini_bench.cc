/// INI files by the number of their entries: reading and writing them beside GLib's key files, and beside
/// inih, which keeps nothing of what it reads and writes nothing. Values are short enough not to be wrapped,
/// which the peers could not read.
#include <benchmark/benchmark.h>
#include <glib.h>
#include <ini.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "ini/ini_file.h"
#include "ini/ini_writer.h"

namespace quelto::bench {
namespace {

/// As many as an item has in the password file.
constexpr std::size_t keysOfSection = 14;

/// Ends the program when a benchmark has not done what it measures.
void require(bool condition, const char* otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

/// A file with as many entries as the benchmark's range, removed by the destructor.
class EntriesFile {
 public:
  explicit EntriesFile(benchmark::State& state)
      : path_(std::filesystem::temp_directory_path() / ("ini_bench." + std::to_string(::getpid()))),
        entries_(static_cast<std::size_t>(state.range(0))) {
    std::ofstream file(path_);
    for (std::size_t entry = 0; entry < entries_; ++entry) {
      const std::string number = std::to_string(entry);
      if (entry % keysOfSection == 0) file << "[KxgZ-Tm4wGoXbAdMaB_bBYPKydocCApL1hozhg" << number << ",]\n";
      file << "key" << entry % keysOfSection << " = value of entry " << number << "\n";
    }
    state.SetComplexityN(state.range(0));
  }
  ~EntriesFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  EntriesFile(const EntriesFile&) = delete;
  EntriesFile& operator=(const EntriesFile&) = delete;

  [[nodiscard]] std::string path() const { return path_.string(); }
  [[nodiscard]] std::size_t entries() const { return entries_; }
  [[nodiscard]] std::size_t sections() const { return (entries_ + keysOfSection - 1) / keysOfSection; }

 private:
  std::filesystem::path path_;
  std::size_t entries_;
};

using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_free)>;

KeyFile loadKeyFile(const EntriesFile& file) {
  KeyFile keys(g_key_file_new(), g_key_file_free);
  const bool isLoaded =
      g_key_file_load_from_file(keys.get(), file.path().c_str(), G_KEY_FILE_NONE, nullptr) != 0;
  require(isLoaded, "GLib has not read the file");
  return keys;
}

void read(benchmark::State& state) {
  const EntriesFile file(state);
  for (auto _ : state) {
    const ini::IniFile values(file.path());
    require(values.values.size() == file.sections(), "not all sections were read");
  }
}

void readByGLib(benchmark::State& state) {
  const EntriesFile file(state);
  for (auto _ : state) benchmark::DoNotOptimize(loadKeyFile(file).get());
}

void readByInih(benchmark::State& state) {
  const EntriesFile file(state);
  for (auto _ : state) {
    std::size_t seen = 0;
    const auto count = [](void* user, const char*, const char*, const char*) {
      return static_cast<int>(++*static_cast<std::size_t*>(user) != 0);
    };
    require(::ini_parse(file.path().c_str(), count, &seen) == 0 && seen == file.entries(),
            "inih has not read all");
  }
}

void write(benchmark::State& state) {
  const EntriesFile file(state);
  const ini::IniFile values(file.path());
  for (auto _ : state) benchmark::DoNotOptimize(ini::iniText(values.values, 120, "Head").data());
}

void writeByGLib(benchmark::State& state) {
  const EntriesFile file(state);
  const KeyFile keys = loadKeyFile(file);
  for (auto _ : state) {
    const std::unique_ptr<char, decltype(&g_free)> text(g_key_file_to_data(keys.get(), nullptr, nullptr),
                                                        g_free);
    benchmark::DoNotOptimize(text.get());
  }
}

/// With all that a save of the password file does to it, the disk included.
void save(benchmark::State& state) {
  const EntriesFile file(state);
  const ini::IniFile values(file.path());
  for (auto _ : state) require(values.saveAll(120, "Head"), "not saved");
}

/// Looks up, changes and erases one entry each in a file that has been read.
void change(benchmark::State& state) {
  const EntriesFile file(state);
  ini::IniFile values(file.path());
  const std::string middle =
      std::next(values.values.begin(), static_cast<std::ptrdiff_t>(file.sections() / 2))->name;
  for (auto _ : state) {
    values.values[middle]["key5"] = "other";
    values.values["new"]["key"] = "value";
    require(values.values.erase("new"), "nothing to erase");
  }
}

void byEntries(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(10)->Range(100, 100'000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(read)->Apply(byEntries)->Complexity(benchmark::oN);
BENCHMARK(readByGLib)->Apply(byEntries)->Complexity(benchmark::oN);
BENCHMARK(readByInih)->Apply(byEntries)->Complexity(benchmark::oN);
BENCHMARK(write)->Apply(byEntries)->Complexity(benchmark::oN);
BENCHMARK(writeByGLib)->Apply(byEntries)->Complexity(benchmark::oN);
BENCHMARK(save)->Apply(byEntries);
BENCHMARK(change)->Apply(byEntries);

}  // namespace
}  // namespace quelto::bench
