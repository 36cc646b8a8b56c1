/// What the tool costs as a whole process, beside its peers. Prints figures and judges none of them.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/process_timing.h"
#include "bench/server_list_file.h"

namespace quelto::bench {
namespace {

constexpr std::size_t linesOfLongList = 100'000;

std::vector<std::string> environmentIn(const TemporaryHome& home) {
  return {
      "PATH=/usr/local/bin:/usr/bin:/bin",
      "LANG=C.UTF-8",
      "HOME=" + home.path().string(),
      "SHELL=" TRIVIAL_LOGIN_SHELL,
      "AUTH_KEYCHAIN=" + home.path().string() + "/marker",
      "AUTOSSH_PATH=" TRIVIAL_SSH,
      // Without it an ssh that ends within 30 seconds counts as a failed start.
      "AUTOSSH_GATETIME=0",
      // autossh may miss the end of an ssh as short as ours and then looks again after so many seconds, not
      // 600.
      "AUTOSSH_POLL=1",
  };
}

/// The command line that Subversion gives to whatever stands in for ssh, behind the words `first`.
std::vector<std::string> tunnel(std::vector<std::string> first) {
  for (const char* word : {"-l", "alice", "host", "svnserve", "-t"}) first.emplace_back(word);
  return first;
}

void compareBanner(const TemporaryHome& home) {
  const auto environment = environmentIn(home);
  const std::vector<Timing> timings =
      compareInTurn("Banner: queltoSSH without arguments",
                    {{"empty C++ program", {EMPTY_PROGRAM}, environment},
                     {"empty program, C++ library loaded", {EMPTY_PROGRAM_WITH_LIBRARY}, environment},
                     {"queltoSSH", {TOOL}, environment}},
                    1000);
  std::printf("  queltoSSH takes %.2f times the empty program that loads the C++ library\n",
              timings[2].median / timings[1].median);
}

/// The commands that run ssh through something; one that is not installed is left out and named.
std::vector<Command> installedPeers(const std::vector<std::string>& environment) {
  std::vector<Command> peers{{"sshpass", tunnel({SSHPASS, "-p", "x", TRIVIAL_SSH}), environment},
                             {"autossh", tunnel({AUTOSSH, "-M", "0"}), environment},
                             {"shell script that execs", tunnel({WRAPPER_SCRIPT}), environment}};
  std::erase_if(peers, [](const Command& peer) {
    const bool isMissing = !std::filesystem::exists(peer.words[0]);
    if (isMissing) std::printf("%s is not installed and is left out\n", peer.name.c_str());
    return isMissing;
  });
  return peers;
}

void compareRunningSsh(const TemporaryHome& home) {
  const auto environment = environmentIn(home);
  std::vector<Command> commands{
      {"trivial ssh alone", tunnel({TRIVIAL_SSH}), environment},
      {"login shell alone", {TRIVIAL_LOGIN_SHELL, "-l", "-c", "which ssh"}, environment},
      {"queltoSSH", tunnel({TOOL}), environment}};
  std::ranges::move(installedPeers(environment), std::back_inserter(commands));
  const std::vector<Timing> timings = compareInTurn("Running ssh", commands, 1000);
  std::printf("  queltoSSH adds %.0f when the login shell's own time is taken off\n",
              (timings[2].median - timings[0].median - timings[1].median).count());
}

void compareServerLists(const TemporaryHome& home, const TemporaryHome& homeWithList) {
  compareInTurn("Running ssh with a server list of 100,000 lines",
                {{"queltoSSH, no list", tunnel({TOOL}), environmentIn(home)},
                 {"queltoSSH, long list", tunnel({TOOL}), environmentIn(homeWithList)}},
                100);
}

/// A copy of the tool with its bundle in the given folder; the path of the tool in it.
std::string copyBundle(const std::filesystem::path& folder) {
  const std::filesystem::path contents = std::filesystem::path(TOOL).parent_path().parent_path();
  for (const char* part : {"Resources", "PlugIns", "Info.plist"}) {
    std::filesystem::create_directories(folder / "Contents");
    std::filesystem::copy(contents / part, folder / "Contents" / part,
                          std::filesystem::copy_options::recursive);
  }
  return folder / "Contents/Resources/queltoSSH";
}

/// Removes what has the given extension from the languages' folders or, for ".lproj", these folders.
void removeFromBundle(const std::string& tool, const char* extension) {
  std::vector<std::filesystem::path> found;
  const auto resources = std::filesystem::path(tool).parent_path();
  for (const auto& entry : std::filesystem::recursive_directory_iterator(resources)) {
    if (entry.path().extension() == extension) found.push_back(entry.path());
  }
  if (found.empty()) throw std::runtime_error(std::string("the bundle has no ") + extension);
  for (const auto& path : found) std::filesystem::remove_all(path);
}

/// All are copies, so that only the tables tell one from the other. Without any folder of a language the tool
/// asks its property list for one and loads a module for that, which costs more than the tables save.
void compareTables(const TemporaryHome& home) {
  const std::string with = copyBundle(home.path() / "tables");
  const std::string without = copyBundle(home.path() / "no tables");
  const std::string withoutFolders = copyBundle(home.path() / "no folders");
  removeFromBundle(without, ".strings");
  removeFromBundle(withoutFolders, ".lproj");
  const auto environment = environmentIn(home);
  compareInTurn("Banner with and without string tables",
                {{"queltoSSH, no tables", {without}, environment},
                 {"queltoSSH, tables", {with}, environment},
                 {"queltoSSH, no languages' folders", {withoutFolders}, environment}},
                1000);
}

}  // namespace
}  // namespace quelto::bench

int main() {
  using namespace quelto::bench;
  // A table takes many seconds; each shows as soon as it is there, also in a pipe.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  try {
    const TemporaryHome home;
    const TemporaryHome homeWithList;
    homeWithList.writeServerList(linesOfLongList, HostNames::ascii);
    compareBanner(home);
    compareTables(home);
    compareRunningSsh(home);
    compareServerLists(home, homeWithList);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "process_bench: %s\n", error.what());
    return 1;
  }
}
