#include "driver/request_paths.h"

#include <algorithm>

#include "config/settings.h"
#include "driver/drive_device.h"

namespace zv {
namespace {

TextView DropFirst(TextView text, size_t count) {
  return text.substr(std::min(count, text.size()));
}

}  // namespace

Text ServerPath(TextView request_path) { return ReplaceAll(request_path, u'\\', u'/'); }

Text LocalFullPath(TextView request_path) {
  Text path = GetLocalName();
  path += request_path;
  return path;
}

bool IsFromExplorer(const RequestRecord& request) {
  return ToLower(request.ProcessName()) == u"explorer.exe";
}

Text RenameTargetPath(TextView internal_path) {
  constexpr TextView kUncPrefix = u"\\??\\UNC";
  constexpr size_t kDrivePrefixLength = 6;  // "\??\Y:"
  if (!internal_path.starts_with(kUncPrefix))
    return Text(DropFirst(internal_path, kDrivePrefixLength));
  const Text server = ReadSetting(kConnectionParameters, u"UNC Server");
  const Text share = ReadSetting(kConnectionParameters, u"UNC Share");
  constexpr size_t kSeparators = 2;
  return Text(
      DropFirst(internal_path, kUncPrefix.size() + kSeparators + server.size() + share.size()));
}

}  // namespace zv
