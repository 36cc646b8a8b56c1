#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/resources/property_list.h"

/// The protocol between the tool and the program that draws the dialog: frames over two pipes, each a length
/// (32 bits, little-endian) and a binary property list. The tool sends one frame, the notification dictionary
/// with the flags under `flagsKey`, and keeps its end open until the question is over. The program answers
/// with frames that hold `stateKey`: `unavailable`, or `shown` and later `answered` with the flags and the
/// field's text.
namespace quelto::platform::dialog {

/// The program's descriptors for the request and for the answers.
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
/// The longest text in a request, in bytes of UTF-8. Even if the property list stores every text as UTF-16,
/// in twice as many bytes, the nine texts of a notification fit into a frame.
inline constexpr std::size_t maximumTextLength = std::size_t{512} << 10;

/// Empty when the module for property lists is missing.
[[nodiscard]] std::string frameOf(const PropertyListDictionary& dictionary);

/// Puts frames together from the pieces in which they arrive.
class FrameReader {
 public:
  void append(std::string_view bytes) { buffer_ += bytes; }

  /// The next whole frame; absent when there is none yet. A frame that is no property list is an empty
  /// dictionary.
  [[nodiscard]] std::optional<PropertyListDictionary> next();

  /// Whether the input is no frame: its length is above `maximumLength`.
  [[nodiscard]] bool isBroken() const;

 private:
  [[nodiscard]] std::optional<std::uint32_t> length() const;

  std::string buffer_;
};

}  // namespace quelto::platform::dialog
