#include "config/file_names.h"

#include <algorithm>
#include <optional>

namespace zv {
namespace {

constexpr TextView kTemporary = u"tmp";

// nullopt without a dot past the first character; "a." has an empty extension.
std::optional<Text> ExtensionOf(TextView name) {
  const size_t dot = name.rfind(u'.');
  if (dot == TextView::npos || dot == 0) return std::nullopt;
  return ToLower(name.substr(dot + 1));
}

// Empty without one.
Text ExtensionInRename(TextView path) {
  return ExtensionOf(path.substr(std::min<size_t>(1, path.size()))).value_or(Text());
}

}  // namespace

int ClassifyFileName(TextView path) {
  const TextView name = path.substr(path.rfind(u'\\') + 1);
  const auto extension = ExtensionOf(name);
  if (!extension) return kNoExtension;
  if (extension->starts_with(kTemporary)) return kTemporaryName;
  const bool office = extension->starts_with(u"doc") || extension->starts_with(u"ppt") ||
                      extension->starts_with(u"xls");
  return office && name.starts_with(u"~$") ? kOfficeLockName : kOrdinaryName;
}

bool IsTempFileRename(TextView source, TextView target) {
  const Text from = ExtensionInRename(source);
  const Text to = ExtensionInRename(target);
  return (from.empty() || from == kTemporary) && !to.empty() && to != kTemporary;
}

bool TurnsTemporaryIntoReal(TextView source, TextView target) {
  return ExtensionInRename(source) == kTemporary && ExtensionInRename(target) != kTemporary;
}

}  // namespace zv
