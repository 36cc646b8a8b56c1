#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>
#include <vector>

/// Owners for what GLib counts references of. Variants are never altered, so any thread may read them; the
/// types that the functions ask for are the caller's to know.
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
using ContextOwner = std::unique_ptr<GMainContext, Release<g_main_context_unref>>;
using ErrorOwner = std::unique_ptr<GError, Release<g_error_free>>;
using VariantOwner = std::unique_ptr<GVariant, Release<g_variant_unref>>;
using TextOwner = std::unique_ptr<char, Release<g_free>>;

/// Takes a new variant, which GLib hands out without an owner.
inline VariantOwner owned(GVariant* floating) { return VariantOwner(g_variant_ref_sink(floating)); }

/// A child of a tuple.
inline VariantOwner childOf(const VariantOwner& tuple, std::size_t index) {
  return VariantOwner(g_variant_get_child_value(tuple.get(), index));
}

/// A child of a tuple that is a text or an object path.
inline std::string textOf(const VariantOwner& tuple, std::size_t index) {
  return g_variant_get_string(childOf(tuple, index).get(), nullptr);
}

/// The object paths in an array of them.
inline std::vector<std::string> pathsIn(const VariantOwner& array) {
  std::vector<std::string> paths(g_variant_n_children(array.get()));
  for (std::size_t index = 0; index < paths.size(); ++index) paths[index] = textOf(array, index);
  return paths;
}

/// The bytes of an array of type "ay", valid as long as the variant.
inline std::string_view bytesIn(const VariantOwner& array) {
  gsize size = 0;
  const void* const bytes = g_variant_get_fixed_array(array.get(), &size, 1);
  return {static_cast<const char*>(bytes), size};
}

}  // namespace quelto::keychain
