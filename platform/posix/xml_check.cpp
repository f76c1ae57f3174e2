#include "platform/posix/xml_check.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace zv::internal {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool IsXmlCharacter(uint32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  return code < 0xD800 || (code >= 0xE000 && code <= 0xFFFD) ||
         (code >= 0x10000 && code <= 0x10FFFF);
}

// "#65" or "#x41", what stands between "&" and ";".
bool IsNumberReference(std::string_view name) {
  const bool hexadecimal = name.starts_with("#x");
  name.remove_prefix(hexadecimal ? 2 : 1);
  uint32_t code = 0;
  const char* end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data(), end, code, hexadecimal ? 16 : 10);
  return error == std::errc() && stop == end && IsXmlCharacter(code);
}

bool IsKnownReference(std::string_view name) {
  if (name.starts_with('#')) return IsNumberReference(name);
  return name == "amp" || name == "lt" || name == "gt" || name == "quot" || name == "apos";
}

// Bytes that mean nothing but themselves wherever they stand.
constexpr auto kPlain = [] {
  std::array<bool, 256> plain{};
  for (size_t byte = 0; byte < plain.size(); ++byte) {
    plain[byte] = byte >= 0x20 || byte == '\t' || byte == '\n' || byte == '\r';
  }
  for (const char mark : {'<', '&', '>', '"', '\''}) plain[static_cast<size_t>(mark)] = false;
  return plain;
}();

class TextChecker {
 public:
  explicit TextChecker(std::string_view text) : text_(text) {}

  bool Run() {
    for (SkipPlain(); at_ < text_.size(); SkipPlain()) {
      if (!(text_[at_] == '<' ? CheckMarkup() : CheckCharacter())) return false;
    }
    return true;
  }

 private:
  void SkipPlain() {
    while (at_ < text_.size() && kPlain[static_cast<unsigned char>(text_[at_])]) ++at_;
  }

  // The character at the position, with its reference when it begins one; moves past it.
  bool CheckCharacter() {
    const char c = text_[at_];
    if (c == '&') return CheckReference();
    ++at_;
    return IsXmlCharacter(static_cast<unsigned char>(c));
  }

  bool CheckReference() {
    constexpr size_t kLongest = 16;
    const std::string_view rest = text_.substr(at_ + 1, kLongest);
    const size_t end = rest.find(';');
    if (end == std::string_view::npos || !IsKnownReference(rest.substr(0, end))) return false;
    at_ += end + 2;
    return true;
  }

  bool CheckMarkup() {
    const std::string_view rest = text_.substr(at_);
    if (rest.starts_with("<!--")) return SkipPast("-->", 4);
    if (rest.starts_with("<![CDATA[")) return SkipPast("]]>", 9);
    if (rest.starts_with("<?")) return SkipPast("?>", 2);
    if (rest.starts_with("<!")) return false;
    return CheckTag();
  }

  bool SkipPast(std::string_view end, size_t from) {
    const size_t found = text_.find(end, at_ + from);
    if (found == std::string_view::npos) return false;
    const std::string_view skipped = text_.substr(at_, found - at_);
    at_ = found + end.size();
    return std::ranges::all_of(
        skipped, [](char c) { return IsXmlCharacter(static_cast<unsigned char>(c)); });
  }

  bool CheckTag() {
    for (++at_, SkipPlain(); at_ < text_.size(); SkipPlain()) {
      const char c = text_[at_];
      if (c == '>') return ++at_, true;
      if (c == '<' || c == '&') return false;
      if (!(c == '"' || c == '\'' ? CheckQuoted(c) : CheckCharacter())) return false;
    }
    return false;
  }

  bool CheckQuoted(char quote) {
    for (++at_, SkipPlain(); at_ < text_.size(); SkipPlain()) {
      if (text_[at_] == quote) return ++at_, true;
      if (text_[at_] == '<' || !CheckCharacter()) return false;
    }
    return false;
  }

  std::string_view text_;
  size_t at_ = 0;
};

class NameChecker {
 public:
  // Walks without recursion: a reply may nest as deeply as it likes.
  bool CheckTree(pugi::xml_node root) {
    pugi::xml_node node = root;
    while (true) {
      if (node.type() == pugi::node_element) {
        Declare(node, +1);
        if (!CheckElement(node)) return false;
      }
      if (node.first_child()) {
        node = node.first_child();
        continue;
      }
      while (true) {
        if (node.type() == pugi::node_element) Declare(node, -1);
        if (node == root) return true;
        if (node.next_sibling()) break;
        node = node.parent();
      }
      node = node.next_sibling();
    }
  }

 private:
  void Declare(pugi::xml_node element, int step) {
    constexpr std::string_view kDeclaration = "xmlns:";
    for (const auto attribute : element.attributes()) {
      const std::string_view name = attribute.name();
      if (name.starts_with(kDeclaration) && *attribute.value() != '\0') {
        declared_[name.substr(kDeclaration.size())] += step;
      }
    }
  }

  bool CheckElement(pugi::xml_node element) {
    if (!CheckName(element.name())) return false;
    if (!element.first_attribute()) return true;
    names_.clear();
    for (const auto attribute : element.attributes()) {
      names_.emplace_back(attribute.name());
      if (!CheckName(names_.back())) return false;
    }
    std::ranges::sort(names_);
    return std::ranges::adjacent_find(names_) == names_.end();
  }

  bool CheckName(std::string_view name) const {
    const size_t colon = name.find(':');
    if (colon == std::string_view::npos) return true;
    const std::string_view prefix = name.substr(0, colon);
    const std::string_view local = name.substr(colon + 1);
    if (prefix.empty() || local.empty() || local.find(':') != local.npos) return false;
    if (prefix == "xml" || prefix == "xmlns") return true;
    const auto found = declared_.find(prefix);
    return found != declared_.end() && found->second > 0;
  }

  std::unordered_map<std::string_view, int> declared_;  // prefix -> open declarations
  std::vector<std::string_view> names_;
};

}  // namespace

bool IsCleanXmlText(std::string_view utf8) { return TextChecker(utf8).Run(); }

bool IsCleanXmlTree(const pugi::xml_document& document) {
  int elements = 0;
  for (const auto node : document.children()) {
    const std::string_view text = node.value();
    if (node.type() == pugi::node_element) ++elements;
    if (node.type() == pugi::node_cdata) return false;
    if (node.type() == pugi::node_pcdata && text.find_first_not_of(kBlanks) != text.npos) {
      return false;
    }
  }
  return elements == 1 && NameChecker().CheckTree(document.document_element());
}

}  // namespace zv::internal
