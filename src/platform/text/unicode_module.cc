#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "platform/text/unicode_service.h"

namespace quelto::platform {
namespace {

/// Owns a UText over borrowed bytes; its positions are byte offsets.
class TextView {
 public:
  TextView(std::string_view text, UErrorCode& status)
      : text_(utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status)) {}
  ~TextView() { utext_close(text_); }
  TextView(const TextView&) = delete;
  TextView& operator=(const TextView&) = delete;
  [[nodiscard]] UText* get() const { return text_; }

 private:
  UText* text_;
};

/// Null when ICU has no data. An iterator serves one thread only, and creating one is far slower than copying
/// it.
std::unique_ptr<icu::BreakIterator> characterIterator() {
  // Never destroyed: a worker may still be running when the process leaves.
  static const icu::BreakIterator* const prototype = [] {
    UErrorCode status = U_ZERO_ERROR;
    return icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status);
  }();
  return std::unique_ptr<icu::BreakIterator>(prototype != nullptr ? prototype->clone() : nullptr);
}

icu::StringPiece asPiece(std::string_view text) {
  return {text.data(), static_cast<std::int32_t>(text.size())};
}

/// Absent when ICU has no data.
std::optional<icu::UnicodeString> decomposed(std::string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* normalizer = icu::Normalizer2::getNFDInstance(status);
  if (U_FAILURE(status)) return std::nullopt;
  icu::UnicodeString result = normalizer->normalize(icu::UnicodeString::fromUTF8(asPiece(text)), status);
  return U_SUCCESS(status) ? std::optional(std::move(result)) : std::nullopt;
}

class IcuService final : public UnicodeService {
 public:
  [[nodiscard]] std::vector<std::size_t> characterBoundaries(std::string_view text) const override {
    UErrorCode status = U_ZERO_ERROR;
    const TextView view(text, status);
    const std::unique_ptr<icu::BreakIterator> iterator = characterIterator();
    if (iterator == nullptr || U_FAILURE(status)) return {};
    iterator->setText(view.get(), status);
    std::vector<std::size_t> boundaries;
    for (std::int32_t at = iterator->first(); at != icu::BreakIterator::DONE; at = iterator->next()) {
      boundaries.push_back(static_cast<std::size_t>(at));
    }
    return boundaries;
  }

  [[nodiscard]] bool isCanonicallyEqual(std::string_view one, std::string_view other) const override {
    const auto first = decomposed(one);
    return first && first == decomposed(other);
  }

  [[nodiscard]] std::string canonicalForm(std::string_view text) const override {
    const auto form = decomposed(text);
    std::string result;
    return form ? form->toUTF8String(result) : std::string(text);
  }

  [[nodiscard]] std::string lowercased(std::string_view text) const override {
    std::string result;
    icu::StringByteSink<std::string> sink(&result, static_cast<std::int32_t>(text.size()));
    UErrorCode status = U_ZERO_ERROR;
    icu::CaseMap::utf8ToLower("", 0, asPiece(text), sink, nullptr, status);
    return U_SUCCESS(status) ? result : std::string(text);
  }

  [[nodiscard]] std::string utf8FromUtf16(std::u16string_view text) const override {
    std::string result;
    return icu::UnicodeString(text.data(), static_cast<std::int32_t>(text.size())).toUTF8String(result);
  }
};

}  // namespace
}  // namespace quelto::platform

const quelto::platform::UnicodeService* queltoUnicodeService() {
  static const quelto::platform::IcuService service;
  return &service;
}
