#include "platform/files/random_digits.h"

#include <unistd.h>

#include <array>

namespace quelto::platform {

std::string randomDigits() {
  std::array<unsigned char, randomDigitsLength / 2> random{};
  if (::getentropy(random.data(), random.size()) != 0) return "";
  std::string result;
  for (const unsigned char byte : random) {
    result += hexadecimalDigits[byte >> 4U];
    result += hexadecimalDigits[byte & 15U];
  }
  return result;
}

}  // namespace quelto::platform
