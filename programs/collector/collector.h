#pragma once

#include <array>
#include <string_view>

#include "platform/files/unique_fd.h"
#include "platform/threads/deadline.h"
#include "programs/collector/report_store.h"

namespace quelto::collector {

/// What is done with a report.
enum class Output { keptInFiles, printed };

/// Receives reports and keeps or prints them until a signal asks it to stop. Errors are lines on standard
/// error. One per process.
class Collector {
 public:
  explicit Collector(Output output) : output_(output) {}

  /// Returns the exit status: 0 after a signal; 1 when it cannot begin, or nobody reads what it prints.
  [[nodiscard]] int run();

 private:
  [[nodiscard]] bool prepare();
  void serve();
  [[nodiscard]] bool isAskedToStop(const platform::Deadline& deadline) const;

  void received(const Report& report);
  void keep(const std::string& text);
  void print(std::string_view text);

  Output output_;
  ReportStore store_{""};
  platform::UniqueFd stopSignals_;
  /// Given up for as long as a report is being kept: there may be no others.
  std::array<platform::UniqueFd, ReportStore::neededDescriptors> spareDescriptors_;
  bool isStopping_ = false;
  int status_ = 0;
};

}  // namespace quelto::collector
