#include "programs/collector/report_store.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/files/ownership.h"
#include "platform/files/random_digits.h"
#include "platform/text/harmless_text.h"
#include "platform/user/environment.h"
#include "platform/user/user.h"

namespace quelto::collector {
namespace {

using platform::hexadecimalDigits;
using platform::PrivateFolder;

/// The form of a name, in which "#" stands for any digit and "*" for any hexadecimal digit.
constexpr std::string_view nameForm = "crash-########T######.###Z-****************.txt";
/// Behind it, what `TemporaryFile` calls a file that is being written.
constexpr std::string_view temporaryForm =
    "crash-########T######.###Z-****************.txt.new-****************";
/// A process that writes for so long was killed.
constexpr time_t secondsUntilAbandoned = 3600;

bool hasForm(std::string_view name, std::string_view form) {
  constexpr auto isOneOf = [](std::string_view digits, char character) {
    return digits.find(character) != std::string_view::npos;
  };
  return std::ranges::equal(name, form, [&](char character, char expected) {
    if (expected == '*') return isOneOf(hexadecimalDigits, character);
    if (expected == '#') return isOneOf(hexadecimalDigits.substr(0, 10), character);
    return character == expected;
  });
}

/// "20260102T030405.006Z"; empty beyond the C library's calendar.
std::string dateText(std::chrono::system_clock::time_point moment) {
  using namespace std::chrono;
  const auto milliseconds = floor<std::chrono::milliseconds>(moment.time_since_epoch()) % seconds(1);
  const std::time_t time = system_clock::to_time_t(floor<seconds>(moment));
  std::tm utc{};
  std::array<char, 32> text{};
  if (::gmtime_r(&time, &utc) == nullptr ||
      std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%S", &utc) == 0)
    return "";
  return text.data() + ("." + std::to_string(1000 + milliseconds.count()).substr(1) + "Z");
}

/// Empty when there is none.
std::string newName() {
  // SECURITY: with a field of the report in it, whoever sends a report would choose what is written to.
  const std::string name =
      "crash-" + dateText(std::chrono::system_clock::now()) + "-" + platform::randomDigits() + ".txt";
  return hasForm(name, nameForm) ? name : "";
}

std::vector<std::string> namesIn(const PrivateFolder& folder) {
  const auto closed = [](DIR* opened) { ::closedir(opened); };
  const std::unique_ptr<DIR, decltype(closed)> opened(::opendir(folder.pathOf("").c_str()), closed);
  std::vector<std::string> names;
  while (const dirent* const entry = opened ? ::readdir(opened.get()) : nullptr)
    names.emplace_back(entry->d_name);
  return names;
}

/// Absent for anything but a regular file of ours.
std::optional<time_t> changeOf(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0 || !platform::isOwnFile(status)) return std::nullopt;
  return status.st_mtime;
}

}  // namespace

std::string readableText(const Report& report) {
  std::string text = "Source: " + platform::terminalText(report.source) +
                     "\nVersion: " + platform::terminalText(report.version) +
                     "\nDate: " + platform::terminalText(report.date) + "\n\n" +
                     platform::terminalLines(report.report);
  if (!text.ends_with('\n')) text += '\n';
  return text;
}

std::optional<std::string> ReportStore::folderOfUser() {
  constexpr std::string_view ours = "/quelto/crashes";
  if (const auto state = platform::environmentValue("XDG_STATE_HOME"); state && state->starts_with('/'))
    return *state + std::string(ours);
  const auto home = platform::homeFolder();
  return home ? std::optional(*home + "/.local/state" + std::string(ours)) : std::nullopt;
}

std::optional<platform::FileError> ReportStore::obstacle() const {
  const auto folder = PrivateFolder::openOrMake(folder_);
  return folder ? std::nullopt : std::optional(folder.error());
}

platform::FileResult<std::string> ReportStore::save(const std::string& text) const {
  const auto folder = PrivateFolder::openOrMake(folder_);
  if (!folder) return folder.error();
  const std::string name = newName();
  if (name.empty() || !folder->publish(name.c_str(), text)) return platform::FileError::failed;
  prune(*folder, name);
  return folder_ + "/" + name;
}

/// Several processes may prune at once, each by what it has read of the folder. All of them take names in the
/// same order, oldest first, so that what another one has removed meanwhile stands first in every list that
/// still has it: nobody removes more than the folder has too many. The newest stays, also with a clock that
/// was set back.
void ReportStore::prune(const PrivateFolder& folder, const std::string& newest) {
  std::vector<std::string> others;
  for (const std::string& name : namesIn(folder)) {
    const bool isReport = hasForm(name, nameForm);
    if (name == newest || (!isReport && !hasForm(name, temporaryForm))) continue;
    const std::string path = folder.pathOf(name.c_str());
    const auto change = changeOf(path);
    if (!change) continue;
    if (isReport) {
      others.push_back(name);
    } else if (*change + secondsUntilAbandoned <= std::time(nullptr)) {
      ::unlink(path.c_str());
    }
  }
  std::ranges::sort(others);
  for (std::size_t oldest = 0; oldest + maximumReports <= others.size(); ++oldest)
    ::unlink(folder.pathOf(others[oldest].c_str()).c_str());
}

}  // namespace quelto::collector
