#include "platform/crypto/openssl_base64.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "platform/crypto/openssl_owners.h"

namespace quelto::platform::openssl {
namespace {

/// What is encoded or decoded at a time: the library counts in int, and a line is as good a piece as any.
constexpr std::size_t lineCharacters = 64;
constexpr std::size_t lineBytes = 48;

bool isAlphabetOrPadding(char character) {
  return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
         (character >= '0' && character <= '9') || character == '+' || character == '/' || character == '=';
}

}  // namespace

std::string base64(std::string_view bytes, Base64Lines lines) {
  // The library ends what it writes with a NUL.
  std::array<unsigned char, lineCharacters + 1> line;
  std::string text;
  text.reserve((bytes.size() / lineBytes + 1) * line.size());
  for (std::size_t at = 0; at < bytes.size(); at += lineBytes) {
    const std::string_view piece = bytes.substr(at, lineBytes);
    const int length = EVP_EncodeBlock(line.data(), octets(piece), static_cast<int>(piece.size()));
    if (at > 0 && lines == Base64Lines::of64Characters) text.push_back('\n');
    text.append(line.begin(), line.begin() + length);
  }
  return text;
}

std::optional<std::string> bytesOfBase64(std::string_view text) {
  // The library skips some of these characters, takes "-" for the end and "=" anywhere for zero bits.
  std::string characters;
  std::ranges::copy_if(text, std::back_inserter(characters), isAlphabetOrPadding);
  const std::size_t end = characters.find_last_not_of('=') + 1;
  const std::size_t padding = characters.size() - end;
  if (characters.size() % 4 != 0 || padding > 2 || characters.find('=') < end) return std::nullopt;
  std::string bytes(characters.size() / 4 * 3, '\0');
  auto* out = octets(bytes.data());
  for (std::size_t at = 0; at < characters.size(); at += lineCharacters, out += lineBytes) {
    const std::string_view piece = std::string_view(characters).substr(at, lineCharacters);
    if (EVP_DecodeBlock(out, octets(piece), static_cast<int>(piece.size())) < 0) return std::nullopt;
  }
  // The library counts the padding as bytes.
  bytes.resize(bytes.size() - padding);
  return bytes;
}

}  // namespace quelto::platform::openssl
