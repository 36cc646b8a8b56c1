#pragma once

#include <sigc++/sigc++.h>

#include <cstdint>
#include <optional>
#include <string>

#include "platform/resources/property_list.h"

namespace quelto::dialog {

/// The two pipes to the tool that started this program. Main thread only.
class RequestChannel {
 public:
  /// Waits for the request. Absent when the tool is gone or sent something else.
  [[nodiscard]] static std::optional<platform::PropertyListDictionary> receive();

  [[nodiscard]] static bool hasToolGone();

  /// Calls the slot from the main loop once the tool is gone.
  static void whenToolHasGone(const sigc::slot<void()>& slot);

  static void sendUnavailable();
  static void sendShown();
  /// `fieldText`: absent when there is no field.
  static void sendAnswer(std::uint32_t flags, const std::optional<std::string>& fieldText);
};

}  // namespace quelto::dialog
