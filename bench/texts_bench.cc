/// Localized texts: a look-up in a parsed table, compared with a plain hash table; and parsing a table.
#include <benchmark/benchmark.h>

#include <stdexcept>
#include <string>
#include <unordered_map>

#include "platform/bundle/bundle.h"
#include "platform/files/read_file.h"
#include "platform/resources/bundle_strings.h"
#include "platform/resources/strings_table.h"
#include "ui/localized_strings.h"

namespace quelto::bench {
namespace {

constexpr const char* table = "vantorSuiteSSH";
constexpr const char* key = "message_ssh_username";
constexpr const char* keyInNoTable = "message_of_no_table";
constexpr const char* defaultText = "Please type a name.";

/// Ends the program when a benchmark does not do what it measures.
void require(bool condition, const char* otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

std::string germanTable() {
  constexpr std::size_t maximumSize = std::size_t{1} << 20;
  const std::string path =
      platform::Bundle::mainBundle().resourceFolder() + "/de.lproj/" + table + ".strings";
  const auto content = platform::readFile(path, maximumSize);
  require(content && !content->empty(), "the German table cannot be read");
  return *content;
}

/// The least that a look-up can do: one table, and a copy of what it holds.
void findAndCopy(benchmark::State& state) {
  const platform::StringsTable parsed = platform::parseStringsTable(germanTable());
  const std::unordered_map<std::string, std::string> texts(parsed.begin(), parsed.end());
  const std::string wanted = key;
  require(texts.contains(wanted), "the table lacks the text");
  for (auto _ : state) {
    std::string text = texts.find(wanted)->second;
    benchmark::DoNotOptimize(text.data());
  }
}

void lookUp(benchmark::State& state, const char* language, const char* name) {
  ui::globalCustomLanguage = language;
  const auto text = [name] { return ui::localizedString(name, table, defaultText); };
  // Also has the tables parsed.
  require((text() == defaultText) == (name == keyInNoTable), "another table answered");
  for (auto _ : state) benchmark::DoNotOptimize(text().data());
}

void parse(benchmark::State& state) {
  const std::string content = germanTable();
  for (auto _ : state) {
    const platform::StringsTable parsed = platform::parseStringsTable(content);
    require(parsed.contains(key), "the table lacks the text");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(content.size()));
}

/// As in the first look-up of a process, with the file in the page cache.
void readParseAndLookUp(benchmark::State& state) {
  const std::string folder = platform::Bundle::mainBundle().resourceFolder();
  for (auto _ : state) {
    const platform::BundleStrings strings(folder, "de");
    require(strings.localizedStringForKey(key, defaultText, table) != defaultText,
            "the table lacks the text");
  }
}

BENCHMARK(findAndCopy);
BENCHMARK_CAPTURE(lookUp, system, "", key);
BENCHMARK_CAPTURE(lookUp, german, "de", key);
BENCHMARK_CAPTURE(lookUp, inNoTable, "", keyInNoTable);
BENCHMARK_CAPTURE(lookUp, germanInNoTable, "de", keyInNoTable);
BENCHMARK(parse);
BENCHMARK(readParseAndLookUp);

}  // namespace
}  // namespace quelto::bench
