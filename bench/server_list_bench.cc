/// The server list by its number of lines: reading with parsing, merging, and two lower bounds on the same
/// file.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

#include "bench/server_list_file.h"
#include "launcher/server_list.h"
#include "launcher/server_merge.h"
#include "platform/files/read_file.h"
#include "platform/text/unicode.h"

namespace quelto::bench {
namespace {

constexpr std::size_t maximumListSize = std::size_t{64} << 20;

/// Ends the program when a benchmark has not done what it measures.
void require(bool condition, const char* otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

/// The home folder that the tool's own functions see, with a list of as many lines as the benchmark's range.
class HomeWithList {
 public:
  HomeWithList(benchmark::State& state, HostNames hostNames)
      : lines_(static_cast<std::size_t>(state.range(0))) {
    home_.writeServerList(lines_, hostNames);
    ::setenv("HOME", home_.path().c_str(), 1);
    state.SetComplexityN(state.range(0));
    // Without the module the non-ASCII rows would measure a program that does less.
    require(platform::lowercased("Ü") == "ü", "the Unicode module is missing");
  }

  [[nodiscard]] std::size_t lines() const { return lines_; }
  [[nodiscard]] std::string list() const { return home_.serverList().string(); }

 private:
  std::size_t lines_;
  TemporaryHome home_;
};

void load(benchmark::State& state, HostNames hostNames) {
  const HomeWithList home(state, hostNames);
  std::size_t loaded = 0;
  // Destroying the list is timed too: the tool does so before it starts ssh.
  for (auto _ : state) loaded = launcher::loadSSHServers().size();
  require(loaded == home.lines(), "not all lines were loaded");
}

/// The host is in the last line.
void merge(benchmark::State& state, HostNames hostNames) {
  const HomeWithList home(state, hostNames);
  const launcher::ServerList servers = launcher::loadSSHServers();
  const std::string host = hostOfLine(home.lines() - 1, hostNames);
  launcher::SshSettings settings;
  for (auto _ : state) {
    settings = launcher::mergeServers({}, servers, host, launcher::ServerMerge::override_);
    benchmark::DoNotOptimize(settings.username.data());
  }
  require(!settings.username.empty(), "the host was not found");
}

void readAndCountLineEnds(benchmark::State& state) {
  const HomeWithList home(state, HostNames::ascii);
  std::size_t seen = 0;
  for (auto _ : state) {
    const auto text = platform::readFile(home.list(), maximumListSize);
    seen = text ? static_cast<std::size_t>(std::ranges::count(*text, '\n')) : 0;
  }
  require(seen == home.lines(), "not all lines were seen");
}

void getEachLine(benchmark::State& state) {
  const HomeWithList home(state, HostNames::ascii);
  std::size_t seen = 0;
  for (auto _ : state) {
    std::ifstream list(home.list());
    seen = 0;
    for (std::string line; std::getline(list, line);) ++seen;
  }
  require(seen == home.lines(), "not all lines were seen");
}

void byLines(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(readAndCountLineEnds)->Apply(byLines)->Complexity(benchmark::oN);
BENCHMARK(getEachLine)->Apply(byLines)->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(load, ascii, HostNames::ascii)->Apply(byLines)->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(merge, ascii, HostNames::ascii)->Apply(byLines)->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(load, nonAscii, HostNames::nonAscii)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(merge, nonAscii, HostNames::nonAscii)->Arg(100'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quelto::bench
