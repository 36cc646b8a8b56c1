#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

#include "platform/resources/property_list_service.h"

namespace quelto::platform {
namespace {

struct NodeDeleter {
  void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeDeleter>;

struct MemoryDeleter {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename Type>
using Memory = std::unique_ptr<Type, MemoryDeleter>;

Node parsed(std::string_view bytes) {
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) return nullptr;
  plist_t root = nullptr;
  plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
  return Node(root);
}

/// Absent for a value that is no text, as for none at all.
std::optional<std::string> textOf(plist_t node) {
  std::uint64_t length = 0;
  const char* text = plist_get_string_ptr(node, &length);
  return text != nullptr ? std::optional<std::string>(std::in_place, text, length) : std::nullopt;
}

/// Absent for a value that is no number, as for none at all.
std::optional<std::uint64_t> numberOf(plist_t node) {
  if (plist_get_node_type(node) != PLIST_UINT) return std::nullopt;
  std::uint64_t number = 0;
  plist_get_uint_val(node, &number);
  return number;
}

/// Absent for a value that is neither a text nor a number.
std::optional<PropertyListValue> converted(plist_t node) {
  if (auto text = textOf(node)) return text;
  return numberOf(node);
}

/// What an archive refers to by its place among its objects, in a binary list or in an XML one; null for no
/// such reference.
plist_t referenced(plist_t objects, plist_t reference) {
  std::optional<std::uint64_t> place = numberOf(plist_dict_get_item(reference, "CF$UID"));
  if (plist_get_node_type(reference) == PLIST_UID) plist_get_uid_val(reference, &place.emplace());
  if (!place || *place >= plist_array_get_size(objects)) return nullptr;
  return plist_array_get_item(objects, static_cast<std::uint32_t>(*place));
}

/// Whether an archived object's class is a text's or derived from it.
bool isTextObject(plist_t objects, plist_t object) {
  const plist_t classOfObject = referenced(objects, plist_dict_get_item(object, "$class"));
  const plist_t names = plist_dict_get_item(classOfObject, "$classes");
  for (std::uint32_t index = 0; index < plist_array_get_size(names); ++index) {
    if (textOf(plist_array_get_item(names, index)) == "NSString") return true;
  }
  return false;
}

struct NodeMaker {
  plist_t operator()(const std::string& text) const { return plist_new_string(text.c_str()); }
  plist_t operator()(std::uint64_t number) const { return plist_new_uint(number); }
};

class LibplistService final : public PropertyListService {
 public:
  [[nodiscard]] std::optional<PropertyListDictionary> parse(std::string_view bytes) const override {
    const Node root = parsed(bytes);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT) return std::nullopt;
    void* iteratorOfDictionary = nullptr;
    plist_dict_new_iter(root.get(), &iteratorOfDictionary);
    const Memory<void> iterator(iteratorOfDictionary);
    PropertyListDictionary dictionary;
    for (;;) {
      char* keyOfEntry = nullptr;
      plist_t value = nullptr;
      plist_dict_next_item(root.get(), iterator.get(), &keyOfEntry, &value);
      const Memory<char> key(keyOfEntry);
      if (!key || value == nullptr) return dictionary;
      if (auto known = converted(value)) dictionary.insert_or_assign(key.get(), std::move(*known));
    }
  }

  [[nodiscard]] std::string binary(const PropertyListDictionary& dictionary) const override {
    const Node root(plist_new_dict());
    for (const auto& [key, value] : dictionary) {
      plist_dict_set_item(root.get(), key.c_str(), std::visit(NodeMaker(), value));
    }
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(root.get(), &bytes, &length);
    const Memory<char> owner(bytes);
    return bytes != nullptr ? std::string(bytes, length) : "";
  }

  [[nodiscard]] std::optional<std::string> archivedString(std::string_view bytes) const override {
    constexpr std::uint64_t archiveVersion = 100'000;
    const Node archive = parsed(bytes);
    const plist_t objects = plist_dict_get_item(archive.get(), "$objects");
    if (textOf(plist_dict_get_item(archive.get(), "$archiver")) != "NSKeyedArchiver" ||
        numberOf(plist_dict_get_item(archive.get(), "$version")) != archiveVersion ||
        textOf(plist_array_get_item(objects, 0)) != "$null") {
      return std::nullopt;
    }
    const plist_t reference = plist_dict_get_item(plist_dict_get_item(archive.get(), "$top"), "root");
    const plist_t root = referenced(objects, reference);
    // The first object stands for none.
    if (root == plist_array_get_item(objects, 0)) return std::nullopt;
    if (auto text = textOf(root)) return text;
    return isTextObject(objects, root) ? textOf(plist_dict_get_item(root, "NS.string")) : std::nullopt;
  }
};

}  // namespace
}  // namespace quelto::platform

const quelto::platform::PropertyListService* queltoPropertyListService() {
  static const quelto::platform::LibplistService service;
  return &service;
}
