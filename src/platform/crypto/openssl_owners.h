#pragma once

#include <string_view>

/// What all code around OpenSSL needs, here and in the keychain's stores; names nothing of the library.
namespace quelto::platform::openssl {

/// The deleter of a `std::unique_ptr` that gives an object back by one of the library's functions.
template <auto release>
struct Release {
  template <typename Type>
  void operator()(Type* object) const {
    release(object);
  }
};

/// The bytes as the library takes them, borrowed.
inline const unsigned char* octets(std::string_view bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}
inline unsigned char* octets(char* bytes) { return reinterpret_cast<unsigned char*>(bytes); }
/// It would be read up to a NUL that need not be there.
const unsigned char* octets(const char* bytes) = delete;

}  // namespace quelto::platform::openssl
