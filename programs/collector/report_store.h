#pragma once

#include <optional>
#include <string>

#include "platform/files/file_result.h"
#include "platform/files/private_folder.h"

namespace quelto::collector {

/// A crash report as it was received; nothing in it can be trusted.
struct Report {
  std::string date;
  std::string source;
  std::string version;
  std::string report;
};

/// The report as a person reads it: a line for each of source, version and date, an empty line, and the lines
/// of the report, each ended by a line feed. What could steer a terminal is replaced by "?".
[[nodiscard]] std::string readableText(const Report& report);

/// The reports that are kept, each in a file of its own, which others cannot read:
/// "crash-<date and time in UTC>-<16 hexadecimal digits>.txt". One thread; any number of processes.
class ReportStore {
 public:
  /// Reports that are kept; the oldest beyond them, by the date in the name, are removed.
  static constexpr std::size_t maximumReports = 100;
  /// Descriptors that `save` has open at once.
  static constexpr std::size_t neededDescriptors = 3;

  /// "quelto/crashes" in `$XDG_STATE_HOME` when that is an absolute path, else in ".local/state" of the home
  /// folder; absent without a home folder. Not created here.
  [[nodiscard]] static std::optional<std::string> folderOfUser();

  explicit ReportStore(std::string folder) : folder_(std::move(folder)) {}

  [[nodiscard]] const std::string& folder() const { return folder_; }

  /// Makes the folder where it is missing. Success, or why nothing can be kept there now: refused, when it is
  /// not ours alone or cannot be made; or failed.
  [[nodiscard]] std::optional<platform::FileError> obstacle() const;

  /// Keeps a text and returns the path of its file, which is whole whenever it has this name, however the
  /// process or the machine ends. Refused, as `obstacle`; or failed, when the disk is full or fails.
  platform::FileResult<std::string> save(const std::string& text) const;

 private:
  static void prune(const platform::PrivateFolder& folder, const std::string& newest);

  std::string folder_;
};

}  // namespace quelto::collector
