#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/resources/property_list.h"

/// How the tool and the program that draws the dialog speak to each other: frames, each a binary property
/// list behind its length (32 bits, little-endian), over two pipes. The tool sends one frame, the
/// notification dictionary with the flags under `flagsKey`, and keeps its end open as long as the question
/// stands. The program answers with a frame that holds `stateKey`: `unavailable`, or `shown` and later
/// `answered` with the flags and the field's text.
namespace quelto::platform::dialog {

/// The program's descriptors: where the request comes from and where the answers go.
inline constexpr int requestDescriptor = 3;
inline constexpr int answerDescriptor = 4;

inline constexpr std::string_view programName = "quelto-dialog";

inline constexpr std::string_view flagsKey = "flags";
inline constexpr std::string_view fieldTextKey = "fieldText";
inline constexpr std::string_view stateKey = "state";

inline constexpr std::string_view unavailable = "unavailable";
inline constexpr std::string_view shown = "shown";
inline constexpr std::string_view answered = "answered";

/// The longest property list that a frame may hold, in bytes.
inline constexpr std::uint32_t maximumLength = std::uint32_t{16} << 20;
/// The longest text that goes into a request, in bytes of UTF-8. A property list may hold it as UTF-16, in
/// twice as many, and all the texts of a notification still fit into a frame.
inline constexpr std::size_t maximumTextLength = std::size_t{512} << 10;

/// Empty when the module for property lists is missing.
[[nodiscard]] std::string frameOf(const PropertyListDictionary& dictionary);

/// Puts frames together from whatever pieces they arrive in.
class FrameReader {
 public:
  void append(std::string_view bytes) { buffer_ += bytes; }

  /// The next whole frame; absent when there is none yet. A frame that is no property list is an empty
  /// dictionary.
  [[nodiscard]] std::optional<PropertyListDictionary> next();

  /// Whether what came can be no frame: its length is beyond any text that a dialog has.
  [[nodiscard]] bool isBroken() const;

 private:
  [[nodiscard]] std::optional<std::uint32_t> length() const;

  std::string buffer_;
};

}  // namespace quelto::platform::dialog
