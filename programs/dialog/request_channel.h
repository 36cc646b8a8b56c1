#pragma once

#include <sigc++/sigc++.h>

#include <cstdint>
#include <optional>
#include <string>

#include "platform/resources/property_list.h"

namespace quelto::dialog {

/// The two pipes to the tool that started this program. Sending never fails: a tool that is gone needs no
/// answer. Main thread only.
class RequestChannel {
 public:
  /// Waits for the request. Absent when the tool is gone or sent something else.
  [[nodiscard]] static std::optional<platform::PropertyListDictionary> receive();

  /// Whether the tool has closed its end of the request; returns at once.
  [[nodiscard]] static bool isToolGone();

  /// Calls the slot from the main loop once the tool is gone.
  static void whenToolIsGone(const sigc::slot<void()>& slot);

  /// There is no display.
  static void sendUnavailable();
  /// The window was drawn. An answer follows.
  static void sendShown();
  /// `flags` are those of a response; `fieldText` is absent when there is no field.
  static void sendAnswer(std::uint32_t flags, const std::optional<std::string>& fieldText);
};

}  // namespace quelto::dialog
