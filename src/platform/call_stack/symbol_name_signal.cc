#include "platform/call_stack/symbol_name_signal.h"

#include <libiberty/demangle.h>

#include <array>

namespace quelto::platform {
namespace {

constexpr std::string_view unnamedNamespace = "(anonymous namespace)::";
constexpr std::string_view operatorKeyword = "operator";

constexpr bool isOneOf(char character, std::string_view characters) {
  return characters.find(character) != std::string_view::npos;
}

constexpr bool isWordCharacter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || character == '_';
}

bool isOperator(std::string_view text, std::size_t at) {
  return text.substr(at).starts_with(operatorKeyword) && (at == 0 || !isWordCharacter(text[at - 1]));
}

/// The length of an operator's name at this place, as of "operator<<" or "operator()"; 0 when there is none.
/// Its signs are no brackets.
std::size_t operatorLength(std::string_view text, std::size_t at) {
  if (!isOperator(text, at)) return 0;
  const std::size_t signs = at + operatorKeyword.size();
  for (const std::string_view bracketed : {"()", "[]"}) {
    if (text.substr(signs).starts_with(bracketed)) return operatorKeyword.size() + bracketed.size();
  }
  std::size_t end = signs;
  while (end < text.size() && isOneOf(text[end], "<>=!+-*/%^&|~,")) ++end;
  // Behind any other operator the last "<" opens the template's arguments.
  const std::string_view found = text.substr(signs, end - signs);
  if (found.ends_with('<') && found != "<" && found != "<<") --end;
  return end > signs ? end - at : 0;
}

/// Walks through a demangled name and tells how deep in brackets each place is.
class Brackets {
 public:
  [[nodiscard]] bool isOutside() const { return depth_ == 0; }
  void take(char character) {
    if (isOneOf(character, "(<[{")) ++depth_;
    if (isOneOf(character, ")>]}") && depth_ > 0) --depth_;
  }

 private:
  int depth_ = 0;
};

/// Where the function's parameters begin; the end when there are none.
std::size_t parametersBegin(std::string_view text) {
  Brackets brackets;
  std::size_t begin = text.size();
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (const std::size_t length = operatorLength(text, at)) {
      at += length - 1;
      continue;
    }
    if (text[at] == '(' && brackets.isOutside()) begin = at;
    brackets.take(text[at]);
  }
  return begin;
}

/// A blank beside punctuation separates nothing.
bool separatesWords(std::string_view text, std::size_t blank) {
  return blank > 0 && blank + 1 < text.size() && !isOneOf(text[blank - 1], ",<>(") &&
         !isOneOf(text[blank + 1], ",>&*)");
}

/// Whether a conversion begins here, whose name is a type.
bool isConversion(std::string_view text, std::size_t at) {
  return isOperator(text, at) && text.substr(at + operatorKeyword.size()).starts_with(' ');
}

void appendShown(SymbolName& out, std::string_view name) {
  Brackets brackets;
  // Behind it no scope of the function comes: what follows is local to it, or a conversion's type.
  bool isFunctionNamed = false;
  for (std::size_t at = 0; at < name.size(); ++at) {
    if (brackets.isOutside() && (name[at] == '(' || isConversion(name, at))) isFunctionNamed = true;
    if (const std::size_t length = operatorLength(name, at)) {
      out.append(name.substr(at, length));
      at += length - 1;
    } else if (brackets.isOutside() && !isFunctionNamed && name.substr(at).starts_with("::")) {
      out.append('.');
      ++at;
    } else if (name[at] == ' ') {
      if (separatesWords(name, at)) out.append('_');
    } else {
      out.append(name[at]);
      brackets.take(name[at]);
    }
  }
}

SymbolName withoutUnnamedNamespaces(std::string_view text) {
  SymbolName out;
  for (;;) {
    const std::size_t found = text.find(unnamedNamespace);
    out.append(text.substr(0, found));
    if (found == std::string_view::npos) return out;
    text.remove_prefix(found + unnamedNamespace.size());
  }
}

void appendPart(const char* part, std::size_t size, void* text) {
  static_cast<SymbolName*>(text)->append({part, size});
}

}  // namespace

SymbolName _stdlib_demangleName(std::string_view name) noexcept {
  SymbolName unchanged;
  unchanged.append(name);
  if (!name.starts_with("_Z") || name.size() > maximumSymbolLength) return unchanged;
  std::array<char, maximumSymbolLength + 1> terminated{};
  std::copy(name.begin(), name.end(), terminated.begin());
  SymbolName demangled;
  if (cplus_demangle_v3_callback(terminated.data(), DMGL_PARAMS | DMGL_ANSI | DMGL_RET_DROP, appendPart,
                                 &demangled) == 0) {
    return unchanged;
  }
  demangled = withoutUnnamedNamespaces(demangled);
  const std::string_view text = demangled;
  const std::size_t parameters = parametersBegin(text);
  SymbolName shown;
  appendShown(shown, text.substr(0, parameters));
  shown.append(text.substr(parameters));
  return shown;
}

}  // namespace quelto::platform
