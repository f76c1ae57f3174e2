// An XML document and the selection of nodes by prefix-literal path: a path element matches an
// element whose name is written with exactly that prefix and local name ("D:href"), whatever the
// prefix stands for. Paths: "/a/b" from the document, "a/b" from a node. One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/text.h"

namespace zv {

// Cheap to copy. Stays good after its document loads another text or is gone.
class XmlNode {
 public:
  // The first node, in the order of the text, that the relative path selects. Throws Error(kOther)
  // when the system's document object fails.
  std::optional<XmlNode> SelectSingle(TextView path) const;
  // All text beneath the node, white space as it stands (line ends as "\n").
  Text NodeText() const;

 private:
  friend class XmlDocument;
  XmlNode(std::shared_ptr<void> owner, void* node) : owner_(std::move(owner)), node_(node) {}

  std::shared_ptr<void> owner_;  // keeps node_ alive
  void* node_;
};

class XmlDocument {
 public:
  // Makes the system's document object. When that fails is_valid() is false and failure_code() says
  // why (on Linux it does not fail).
  XmlDocument();
  ~XmlDocument();
  XmlDocument(XmlDocument&&) noexcept;
  XmlDocument& operator=(XmlDocument&&) noexcept;

  bool is_valid() const;
  int32_t failure_code() const;

  // Loads a whole document in place of what was loaded before; false when it is not well formed (a
  // prefix that is not declared counts as that where the system's parser minds it), with nothing
  // loaded. A document with a DOCTYPE is refused, too: no reply has one, and its entities could
  // swell or reach out.
  bool Load(TextView xml);
  // All nodes that the path selects, in the order of the text. Throws like SelectSingle.
  std::vector<XmlNode> Select(TextView path) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zv
