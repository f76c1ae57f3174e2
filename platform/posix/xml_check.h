// Well-formedness (XML 1.0 and its namespaces) where the parser is lenient. Any thread.
#pragma once

#include <pugixml.hpp>
#include <string_view>

namespace zv::internal {

// A text's markup before it is parsed: characters, references (without a DOCTYPE there are the five
// predefined entities and numbers), no DOCTYPE, quoted attribute values.
bool IsCleanXmlText(std::string_view utf8);

// A parsed document (as a fragment, so that what stands beside the root element shows): one root
// element, names with at most one prefix that is declared where it is used, attributes once each.
bool IsCleanXmlTree(const pugi::xml_document& document);

}  // namespace zv::internal
