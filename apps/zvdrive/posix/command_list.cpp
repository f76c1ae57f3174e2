#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>

#include "apps/zvdrive/commands.h"
#include "apps/zvdrive/drive/drive_path.h"
#include "apps/zvdrive/local_time.h"
#include "apps/zvdrive/output_text.h"
#include "apps/zvdrive/session.h"
#include "include/zvworker/zvworker.h"

namespace zv {
namespace {

// "Docs/a.txt", "/Docs/" or "/" as the drive wants it.
Text DrivePathOf(const std::string& path) {
  Text text = ReplaceAll(FromUtf8(path), u'/', u'\\');
  if (text.empty() || text.front() != u'\\') text.insert(text.begin(), u'\\');
  while (text.size() > 1 && text.back() == u'\\') text.pop_back();
  return text;
}

void PrintNode(const NamedNode& node, const ListOptions& options) {
  const std::string name = FitForOutput(ToUtf8(node.name)) + (node.info.is_folder ? "/" : "");
  if (!options.long_form) {
    std::cout << name << "\n";
    return;
  }
  std::array<char, 32> size{};
  std::snprintf(size.data(), size.size(), "%14lld", static_cast<long long>(node.info.size));
  std::cout << size.data() << "  " << FormatTime(node.info.modified, TimeDetail::kSeconds) << "  "
            << name << "\n";
}

void PrintJson(const std::vector<NamedNode>& nodes) {
  std::cout << "[";
  for (size_t i = 0; i < nodes.size(); ++i) {
    const NodeInfo& info = nodes[i].info;
    std::cout << (i ? "," : "") << "\n  {\"name\": " << JsonText(ToUtf8(nodes[i].name))
              << ", \"folder\": " << (info.is_folder ? "true" : "false")
              << ", \"size\": " << info.size << ", \"modified\": " << ToUnix(info.modified) << "}";
  }
  std::cout << (nodes.empty() ? "]\n" : "\n]\n");
}

NodeInfo LookUp(VirtualDrive& drive, const Text& path, const std::string& given) {
  const auto info = drive.Look(path);
  if (!info) {
    throw CommandError(given + ": " + DescribeError(info.error),
                       info.error == DriveError::kNotFound ? kExitNotFound : kExitFailed);
  }
  return info.value;
}

// Whether the listings tell of a file with content in the folder or beneath it.
bool HasContent(VirtualDrive& drive, const Text& folder) {
  const auto listed = drive.List(folder);
  if (!listed) throw CommandError(DescribeError(listed.error));
  return std::any_of(listed.value.begin(), listed.value.end(), [&](const NamedNode& node) {
    return node.info.is_folder ? HasContent(drive, JoinPath(folder, node.name))
                               : node.info.size > 0;
  });
}

}  // namespace

int RunList(const ListOptions& options) {
  DriveSession session(ReadAccount(), {});
  const Text path = DrivePathOf(options.path);
  const NodeInfo info = LookUp(session.drive(), path, options.path);
  std::vector<NamedNode> nodes;
  if (info.is_folder) {
    auto listed = session.drive().List(path);
    if (!listed) throw CommandError(options.path + ": " + DescribeError(listed.error));
    nodes = std::move(listed.value);
  } else {
    nodes.push_back({LeafOf(path), info});
  }
  std::sort(nodes.begin(), nodes.end(),
            [](const NamedNode& a, const NamedNode& b) { return a.name < b.name; });
  if (options.json) {
    PrintJson(nodes);
  } else {
    for (const NamedNode& node : nodes) PrintNode(node, options);
  }
  return kExitDone;
}

int RunSpace() {
  DriveSession session(ReadAccount(), {});
  // A listing brings the used space up to date.
  if (const auto root = session.drive().List(Text(kDriveRoot)); !root) {
    throw CommandError(DescribeError(root.error));
  }
  const auto volume = session.drive().Volume();
  if (!volume) throw CommandError(DescribeError(volume.error));
  std::cout << "quota  " << volume.value.quota_mib << " MiB\nused   " << volume.value.used_mib
            << " MiB\n";
  return kExitDone;
}

// The script tells no difference between an empty folder and a failure: both are 0.
int RunFolderSize(const std::string& path) {
  DriveSession session(ReadAccount(), {});
  const Text folder = DrivePathOf(path);
  if (!LookUp(session.drive(), folder, path).is_folder) {
    throw CommandError(path + ": " + DescribeError(DriveError::kNotFolder));
  }
  const int64_t bytes = GetFolderSize(ReplaceAll(folder, u'\\', u'/').c_str());
  if (bytes <= 0 && HasContent(session.drive(), folder)) {
    throw CommandError(path + ": the server's folder-size script, asked over TLS on port 443, " +
                       "gives no answer");
  }
  std::cout << bytes << "\n";
  return kExitDone;
}

}  // namespace zv
