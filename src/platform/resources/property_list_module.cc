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

/// Absent for a value that is neither a text nor a number.
std::optional<PropertyListValue> converted(plist_t node) {
  std::uint64_t number = 0;
  switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
      const char* text = plist_get_string_ptr(node, &number);
      return text != nullptr ? std::optional<PropertyListValue>(std::string(text, number)) : std::nullopt;
    }
    case PLIST_UINT:
      plist_get_uint_val(node, &number);
      return number;
    default:
      return std::nullopt;
  }
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
};

}  // namespace
}  // namespace quelto::platform

const quelto::platform::PropertyListService* queltoPropertyListService() {
  static const quelto::platform::LibplistService service;
  return &service;
}
