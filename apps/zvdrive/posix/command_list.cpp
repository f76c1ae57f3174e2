#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <iostream>

#include "apps/zvdrive/commands.h"
#include "apps/zvdrive/drive/drive_path.h"
#include "apps/zvdrive/progress_line.h"
#include "apps/zvdrive/session.h"

namespace zv {
namespace {

// "Docs/a.txt", "/Docs/" or "/" as the drive wants it.
Text DrivePathOf(const std::string& path) {
  Text text = ReplaceAll(FromUtf8(path), u'/', u'\\');
  if (text.empty() || text.front() != u'\\') text.insert(text.begin(), u'\\');
  while (text.size() > 1 && text.back() == u'\\') text.pop_back();
  return text;
}

std::string FormatTime(Seconds1601 time) {
  const std::time_t seconds = ToUnix(time);
  std::array<char, 32> text{};
  if (const std::tm* local = std::localtime(&seconds)) {
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", local);
  }
  return text.data();
}

void PrintNode(const NamedNode& node, const ListOptions& options) {
  const std::string name = ToUtf8(node.name) + (node.info.is_folder ? "/" : "");
  if (!options.long_form) {
    std::cout << name << "\n";
    return;
  }
  std::array<char, 32> size{};
  std::snprintf(size.data(), size.size(), "%14lld", static_cast<long long>(node.info.size));
  std::cout << size.data() << "  " << FormatTime(node.info.modified) << "  " << name << "\n";
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

}  // namespace

int RunList(const ListOptions& options) {
  DriveSession session(ReadAccount(), {});
  const Text path = DrivePathOf(options.path);
  const auto info = session.drive().Look(path);
  if (!info) {
    throw CommandError(options.path + ": " + DescribeError(info.error),
                       info.error == DriveError::kNotFound ? kExitNotFound : kExitFailed);
  }
  std::vector<NamedNode> nodes;
  if (info.value.is_folder) {
    auto listed = session.drive().List(path);
    if (!listed) throw CommandError(options.path + ": " + DescribeError(listed.error));
    nodes = std::move(listed.value);
  } else {
    nodes.push_back({LeafOf(path), info.value});
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

}  // namespace zv
