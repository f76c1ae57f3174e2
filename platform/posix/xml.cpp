#include "platform/xml.h"

#include <pugixml.hpp>
#include <string>

#include "platform/posix/xml_check.h"

namespace zv {
namespace {

// A loaded document; its nodes point into the text, which the parser keeps in place.
struct Tree {
  std::string text;
  pugi::xml_document document;
};

using Path = std::vector<std::string_view>;

pugi::xml_node ToNode(void* node) {
  return pugi::xml_node(static_cast<pugi::xml_node_struct*>(node));
}

Path SplitPath(std::string_view path) {
  if (path.starts_with('/')) path.remove_prefix(1);
  Path elements;
  for (size_t end = path.find('/'); end != path.npos; end = path.find('/')) {
    elements.push_back(path.substr(0, end));
    path.remove_prefix(end + 1);
  }
  elements.push_back(path);
  return elements;
}

// Calls visit(node) for every node that the path from position `at` on selects under the parent,
// until one call gives false; false when that happened.
template <typename Visit>
bool Walk(pugi::xml_node parent, const Path& path, size_t at, const Visit& visit) {
  for (pugi::xml_node child = parent.first_child(); child; child = child.next_sibling()) {
    if (child.type() != pugi::node_element || child.name() != path[at]) continue;
    const bool go_on = at + 1 == path.size() ? visit(child) : Walk(child, path, at + 1, visit);
    if (!go_on) return false;
  }
  return true;
}

bool IsText(pugi::xml_node node) {
  return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

}  // namespace

struct XmlDocument::Impl {
  std::shared_ptr<Tree> tree;  // null when nothing is loaded
};

XmlDocument::XmlDocument() : impl_(std::make_unique<Impl>()) {}
XmlDocument::~XmlDocument() = default;
XmlDocument::XmlDocument(XmlDocument&&) noexcept = default;
XmlDocument& XmlDocument::operator=(XmlDocument&&) noexcept = default;

bool XmlDocument::is_valid() const { return true; }
int32_t XmlDocument::failure_code() const { return 0; }

bool XmlDocument::Load(TextView xml) {
  constexpr unsigned kFlags = pugi::parse_escapes | pugi::parse_eol | pugi::parse_cdata |
                              pugi::parse_ws_pcdata | pugi::parse_wconv_attribute |
                              pugi::parse_fragment;
  impl_->tree = nullptr;
  auto tree = std::make_shared<Tree>();
  tree->text = ToUtf8(xml);
  if (!internal::IsCleanXmlText(tree->text)) return false;
  const auto result = tree->document.load_buffer_inplace(tree->text.data(), tree->text.size(),
                                                         kFlags, pugi::encoding_utf8);
  if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
  if (!result || !internal::IsCleanXmlTree(tree->document)) return false;
  impl_->tree = std::move(tree);
  return true;
}

std::vector<XmlNode> XmlDocument::Select(TextView path) const {
  std::vector<XmlNode> nodes;
  if (!impl_->tree) return nodes;
  const std::string utf8 = ToUtf8(path);
  Walk(impl_->tree->document, SplitPath(utf8), 0, [&](pugi::xml_node node) {
    nodes.push_back(XmlNode(impl_->tree, node.internal_object()));
    return true;
  });
  return nodes;
}

std::optional<XmlNode> XmlNode::SelectSingle(TextView path) const {
  std::optional<XmlNode> first;
  const std::string utf8 = ToUtf8(path);
  Walk(ToNode(node_), SplitPath(utf8), 0, [&](pugi::xml_node node) {
    first = XmlNode(owner_, node.internal_object());
    return false;
  });
  return first;
}

Text XmlNode::NodeText() const {
  const pugi::xml_node root = ToNode(node_);
  pugi::xml_node node = root.first_child();
  if (!node) return {};
  if (IsText(node) && !node.next_sibling()) return FromUtf8(node.value());  // almost always
  std::string text;
  while (node != root) {
    if (IsText(node)) text += node.value();
    if (node.first_child()) {
      node = node.first_child();
      continue;
    }
    while (node != root && !node.next_sibling()) node = node.parent();
    if (node != root) node = node.next_sibling();
  }
  return FromUtf8(text);
}

}  // namespace zv
