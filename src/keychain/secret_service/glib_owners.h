#pragma once

// The session and its secrets are reachable by object path only through the part of libsecret that asks to be
// acknowledged as changeable.
#define SECRET_API_SUBJECT_TO_CHANGE
#include <libsecret/secret.h>
#include <string.h>

#include <memory>

/// Owners for what GLib counts references of.
namespace quelto::keychain {

template <auto release>
struct Release {
  template <typename Type>
  void operator()(Type* object) const {
    release(object);
  }
};

template <typename Type>
using ObjectOwner = std::unique_ptr<Type, Release<g_object_unref>>;
using ErrorOwner = std::unique_ptr<GError, Release<g_error_free>>;
using ContextOwner = std::unique_ptr<GMainContext, Release<g_main_context_unref>>;
using VariantOwner = std::unique_ptr<GVariant, Release<g_variant_unref>>;
using TextOwner = std::unique_ptr<char, Release<g_free>>;

/// Overwrites the secret, which libsecret does only where the system lets it lock memory. The value is ours
/// alone.
struct WipeAndRelease {
  void operator()(SecretValue* value) const {
    gsize size = 0;
    const char* const bytes = secret_value_get(value, &size);
    // SECURITY: else a secret stays in freed memory.
    ::explicit_bzero(const_cast<char*>(bytes), size);
    secret_value_unref(value);
  }
};
using SecretValueOwner = std::unique_ptr<SecretValue, WipeAndRelease>;

/// Takes a new variant, which GLib hands out without an owner.
inline VariantOwner owned(GVariant* floating) { return VariantOwner(g_variant_ref_sink(floating)); }

/// Collects the error of one library call: `GError** out = error.out()`.
class ErrorSlot {
 public:
  ErrorSlot() = default;
  ~ErrorSlot() { g_clear_error(&error_); }
  ErrorSlot(const ErrorSlot&) = delete;
  ErrorSlot& operator=(const ErrorSlot&) = delete;
  [[nodiscard]] GError** out() {
    g_clear_error(&error_);
    return &error_;
  }
  /// Null when there was none.
  [[nodiscard]] const GError* get() const { return error_; }

 private:
  GError* error_ = nullptr;
};

}  // namespace quelto::keychain
