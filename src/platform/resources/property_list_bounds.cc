#include "platform/resources/property_list_bounds.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace quelto::platform {
namespace {

constexpr std::string_view binaryMagic = "bplist00";

/// The objects of a binary property list: values of 1 and more bytes, each found by its index in a table of
/// offsets, which a trailer at the end describes.
class BinaryObjects {
 public:
  explicit BinaryObjects(std::string_view bytes) : bytes_(bytes) {}

  [[nodiscard]] bool areFew() {
    constexpr std::size_t trailerSize = 32;
    if (bytes_.size() < binaryMagic.size() + trailerSize) return false;
    const std::size_t trailer = bytes_.size() - trailerSize;
    offsetWidth_ = number(trailer + 6, 1);
    referenceWidth_ = number(trailer + 7, 1);
    const std::uint64_t count = number(trailer + 8, 8);
    const std::uint64_t top = number(trailer + 16, 8);
    table_ = number(trailer + 24, 8);
    const auto isWidth = [](std::uint64_t width) { return width >= 1 && width <= 8; };
    if (!isWidth(offsetWidth_) || !isWidth(referenceWidth_) || table_ > trailer) return false;
    if (count > (trailer - table_) / offsetWidth_) return false;
    count_ = count;
    return isSmall(top, 1);
  }

 private:
  /// Big-endian.
  [[nodiscard]] std::uint64_t number(std::uint64_t at, std::uint64_t width) const {
    std::uint64_t value = 0;
    for (const char byte : bytes_.substr(at, width)) value = value << 8U | static_cast<unsigned char>(byte);
    return value;
  }

  /// Whether so many values of a width fit between the place and the table.
  [[nodiscard]] bool fits(std::uint64_t at, std::uint64_t count, std::uint64_t width) const {
    return at <= table_ && count <= (table_ - at) / width;
  }

  /// The length in an object's first byte, or the number that follows it; moves past both. Absent when that
  /// is not well-formed.
  [[nodiscard]] std::optional<std::uint64_t> lengthOfObject(std::uint64_t& at) const {
    constexpr std::uint64_t follows = 0xF;
    const std::uint64_t length = number(at++, 1) & follows;
    if (length != follows) return length;
    if (!fits(at, 1, 1)) return std::nullopt;
    const std::uint64_t marker = number(at++, 1);
    const std::uint64_t width = std::uint64_t{1} << (marker & 0xFU);
    if (marker >> 4U != 1 || width > 8 || !fits(at, width, 1)) return std::nullopt;
    at += width;
    return number(at - width, width);
  }

  [[nodiscard]] bool isSmall(std::uint64_t index, std::size_t depth) {
    if (index >= count_ || ++nodes_ > maximumPropertyListNodes) return false;
    std::uint64_t at = number(table_ + index * offsetWidth_, offsetWidth_);
    if (at < binaryMagic.size() || !fits(at, 1, 1)) return false;
    switch (number(at, 1) >> 4U) {
      case 0x0:  // null, false, true
      case 0x1:  // integer
      case 0x2:  // real
      case 0x3:  // date
      case 0x8:  // UID
        return true;
      case 0x4:  // data
      case 0x5:  // ASCII text
        return isSmallText(at, 1);
      case 0x6:  // UTF-16 text
        return isSmallText(at, 2);
      case 0xA:  // array
      case 0xC:  // set
        return isSmallContainer(at, 1, depth);
      case 0xD:  // dictionary: the keys, then the values
        return isSmallContainer(at, 2, depth);
      default:
        return false;
    }
  }

  [[nodiscard]] bool isSmallText(std::uint64_t at, std::uint64_t width) {
    const auto length = lengthOfObject(at);
    if (!length || !fits(at, *length, width)) return false;
    payload_ += *length * width;
    return payload_ <= maximumPropertyListPayload;
  }

  [[nodiscard]] bool isSmallContainer(std::uint64_t at, std::uint64_t lists, std::size_t depth) {
    const auto length = lengthOfObject(at);
    if (!length || depth > maximumPropertyListDepth) return false;
    if (!fits(at, *length, lists * referenceWidth_)) return false;
    for (std::uint64_t child = 0; child < *length * lists; ++child) {
      if (!isSmall(number(at + child * referenceWidth_, referenceWidth_), depth + 1)) return false;
    }
    return true;
  }

  std::string_view bytes_;
  std::uint64_t offsetWidth_ = 0;
  std::uint64_t referenceWidth_ = 0;
  /// Where the objects end.
  std::uint64_t table_ = 0;
  std::uint64_t count_ = 0;
  /// Each object counts at every place that it has.
  std::size_t nodes_ = 0;
  std::uint64_t payload_ = 0;
};

/// What stands between "<" and the first of these ends is no element.
struct Markup {
  std::string_view begin;
  std::string_view end;
};
constexpr Markup skipped[] = {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<!", ">"}, {"<?", ">"}};

bool isSmallXml(std::string_view text) {
  std::size_t depth = 0;
  std::size_t nodes = 0;
  for (std::size_t at = text.find('<'); at != text.npos; at = text.find('<', at)) {
    const std::string_view rest = text.substr(at);
    const auto* const markup = std::ranges::find_if(
        skipped, [rest](auto begin) { return rest.starts_with(begin); }, &Markup::begin);
    const std::size_t end = rest.find(markup != std::end(skipped) ? markup->end : ">");
    if (end == rest.npos) return true;
    at += end;
    if (markup != std::end(skipped)) continue;
    if (rest.starts_with("</")) {
      if (depth > 0) --depth;
    } else {
      if (++nodes > maximumPropertyListNodes) return false;
      if (rest[end - 1] != '/' && ++depth > maximumPropertyListDepth) return false;
    }
  }
  return true;
}

bool beginsLikeXml(std::string_view bytes) {
  bytes.remove_prefix(std::min(bytes.find_first_not_of(" \t\r\n"), bytes.size()));
  constexpr std::string_view beginnings[] = {"<?xml", "<plist", "<!DOCTYPE"};
  return std::ranges::any_of(beginnings, [&](auto begin) { return bytes.starts_with(begin); });
}

}  // namespace

bool isSmallPropertyList(std::string_view bytes) {
  if (bytes.size() > maximumPropertyListSize) return false;
  if (bytes.starts_with(binaryMagic)) return BinaryObjects(bytes).areFew();
  return beginsLikeXml(bytes) && isSmallXml(bytes);
}

}  // namespace quelto::platform
