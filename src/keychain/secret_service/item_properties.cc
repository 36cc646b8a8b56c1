#include "keychain/secret_service/item_properties.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <tuple>
#include <utility>

namespace quelto::keychain {
namespace {

constexpr std::string_view encodedPrefix = "data:,";
constexpr const char* classAttribute = "class";
/// What the desktop's keyring program sorts items by.
constexpr const char* schemaAttribute = "xdg:schema";
constexpr const char* schema = "org.quelto.suite";
constexpr const char* labelProperty = "org.freedesktop.Secret.Item.Label";
constexpr const char* attributesProperty = "org.freedesktop.Secret.Item.Attributes";

struct ClassName {
  ItemClass itemClass;
  const char* name;
};
/// Named so that nobody else's items can be meant.
constexpr std::array classNames{ClassName{ItemClass::genericPassword, "org.quelto.genericPassword"},
                                ClassName{ItemClass::internetPassword, "org.quelto.internetPassword"},
                                ClassName{ItemClass::key, "org.quelto.key"}};

const char* nameOf(ItemClass itemClass) {
  return std::ranges::find(classNames, itemClass, &ClassName::itemClass)->name;
}

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7f;
}

bool needsNoEncoding(std::string_view bytes) {
  return !bytes.starts_with(encodedPrefix) && std::ranges::none_of(bytes, isControl) &&
         g_utf8_validate_len(bytes.data(), bytes.size(), nullptr) == TRUE;
}

bool isUnreserved(char character) {
  return g_ascii_isalnum(character) || character == '-' || character == '.' || character == '_' ||
         character == '~';
}

std::string asDataUrl(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text(encodedPrefix);
  for (const char character : bytes) {
    if (isUnreserved(character)) {
      text += character;
    } else {
      const auto byte = static_cast<unsigned char>(character);
      text.append({'%', digits[byte >> 4U], digits[byte & 15U]});
    }
  }
  return text;
}

std::string textOf(std::string_view bytes) {
  return needsNoEncoding(bytes) ? std::string(bytes) : asDataUrl(bytes);
}

/// A text that is not what we would have written means itself, so that no two texts mean the same bytes.
std::string bytesOf(std::string_view text) {
  if (!text.starts_with(encodedPrefix)) return std::string(text);
  std::string bytes;
  for (std::size_t at = encodedPrefix.size(); at < text.size(); ++at) {
    if (text[at] != '%' || at + 2 >= text.size()) {
      bytes += text[at];
      continue;
    }
    const int high = g_ascii_xdigit_value(text[at + 1]);
    const int low = g_ascii_xdigit_value(text[at + 2]);
    if (high < 0 || low < 0) return std::string(text);
    bytes += static_cast<char>(high * 16 + low);
    at += 2;
  }
  return textOf(bytes) == text ? bytes : std::string(text);
}

std::string labelTextOf(const Attributes& attributes) {
  const auto label = attributes.find(labelAttribute);
  if (label == attributes.end()) return {};
  return label->second.empty() ? std::string(encodedPrefix) : textOf(label->second);
}

std::string labelOf(std::string_view text) { return text == encodedPrefix ? std::string() : bytesOf(text); }

void appendTo(GVariantBuilder& builder, const char* name, const std::string& text) {
  g_variant_builder_add(&builder, "{ss}", name, text.c_str());
}

GVariant* lookupAttributes(ItemClass itemClass, const Attributes& attributes, bool withSchema) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
  if (withSchema) appendTo(builder, schemaAttribute, schema);
  appendTo(builder, classAttribute, nameOf(itemClass));
  for (const auto& [name, value] : attributes) {
    if (name != labelAttribute) appendTo(builder, name.c_str(), textOf(value));
  }
  return g_variant_builder_end(&builder);
}

/// Fills in class and attributes; false when the class is none of ours. Names with a colon belong to the
/// desktop ("xdg:schema").
bool readAttributes(GVariant* attributes, StoredItem& item) {
  bool isOurs = false;
  GVariantIter iterator;
  g_variant_iter_init(&iterator, attributes);
  const char* name = nullptr;
  const char* value = nullptr;
  while (g_variant_iter_next(&iterator, "{&s&s}", &name, &value) != FALSE) {
    if (std::string_view(name) == classAttribute) {
      for (const ClassName& known : classNames) {
        if (std::string_view(value) != known.name) continue;
        item.itemClass = known.itemClass;
        isOurs = true;
      }
    } else if (std::string_view(name).find(':') == std::string_view::npos) {
      item.attributes.insert_or_assign(name, bytesOf(value));
    }
  }
  return isOurs;
}

std::string_view identifierIn(std::string_view path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

VariantOwner lookupAttributesOf(const ItemMatch& match) {
  return owned(lookupAttributes(match.itemClass, match.attributes, false));
}

VariantOwner propertiesOf(const Item& item) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&builder, "{sv}", labelProperty,
                        g_variant_new_string(labelTextOf(item.attributes).c_str()));
  g_variant_builder_add(&builder, "{sv}", attributesProperty,
                        lookupAttributes(item.itemClass, item.attributes, true));
  return owned(g_variant_builder_end(&builder));
}

std::optional<StoredItem> storedItemOf(const std::string& path, GVariant* properties) {
  StoredItem item{.path = path};
  gboolean isLocked = FALSE;
  if (g_variant_lookup(properties, "Locked", "b", &isLocked) != FALSE && isLocked != FALSE) {
    item.isLocked = true;
    return item;
  }
  const VariantOwner attributes(g_variant_lookup_value(properties, "Attributes", G_VARIANT_TYPE("a{ss}")));
  if (attributes == nullptr || !readAttributes(attributes.get(), item)) return std::nullopt;
  guint64 created = 0;
  if (g_variant_lookup(properties, "Created", "t", &created) != FALSE) item.created = created;
  const char* label = nullptr;
  if (g_variant_lookup(properties, "Label", "&s", &label) != FALSE && *label != '\0')
    item.attributes.insert_or_assign(labelAttribute, labelOf(label));
  return item;
}

bool fulfils(const StoredItem& item, const ItemMatch& match) {
  return item.itemClass == match.itemClass &&
         std::ranges::all_of(match.attributes, [&item](const auto& wanted) {
           const auto found = item.attributes.find(wanted.first);
           return found != item.attributes.end() && found->second == wanted.second;
         });
}

bool isOlder(const StoredItem& one, const StoredItem& other) {
  const auto age = [](const StoredItem& item) {
    // Shorter numbers are smaller ones.
    const std::string_view identifier = identifierIn(item.path);
    return std::tuple(item.created, identifier.size(), identifier, std::string_view(item.path));
  };
  return age(one) < age(other);
}

}  // namespace quelto::keychain
