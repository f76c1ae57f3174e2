// An XML document and the selection of nodes by prefix-literal path: a path element matches an element
// whose name is written with exactly that prefix and local name ("D:href"), whatever the prefix stands
// for. Paths: "/a/b" from the document, "a/b" from a node. One thread at a time.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/text.h"

namespace zv {

class XmlNode {
 public:
  struct Impl;
  explicit XmlNode(std::shared_ptr<const Impl> impl);
  // The first node that the relative path selects.
  std::optional<XmlNode> SelectSingle(TextView path) const;
  // All text beneath the node, white space as it stands.
  Text NodeText() const;

 private:
  std::shared_ptr<const Impl> impl_;
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

  // Loads a whole document; false when it is not well formed, with nothing loaded.
  bool Load(TextView xml);
  std::vector<XmlNode> Select(TextView path) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zv
