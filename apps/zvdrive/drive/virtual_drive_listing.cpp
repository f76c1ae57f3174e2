// Listing folders: as a whole, or entry by entry while the walk goes on.
#include "apps/zvdrive/drive/drive_path.h"
#include "apps/zvdrive/drive/virtual_drive.h"
#include "platform/thread.h"

namespace zv {
namespace {

void AddNode(const Text& name, const NodeInfo& info, const OpenFilesByName& open_files,
             FolderListing& listing) {
  const auto open = open_files.find(name);
  listing.Add({name, open == open_files.end() ? info : InfoOf(*open->second, info)});
}

}  // namespace

DriveResult<std::vector<NamedNode>> VirtualDrive::List(TextView folder) {
  FolderListing listing;
  ListInto(folder, listing);
  std::vector<NamedNode> nodes;
  while (const NamedNode* node = listing.At(nodes.size())) nodes.push_back(*node);
  if (listing.error() != DriveError::kNone) return listing.error();
  return nodes;
}

std::shared_ptr<FolderListing> VirtualDrive::OpenFolder(TextView folder) {
  auto listing = std::make_shared<FolderListing>();
  const auto list = [this, listing, path = Text(folder)] {
    ListInto(path, *listing);
    const std::lock_guard lock(mutex_);
    --listings_;
    listing_ended_.notify_all();
    return 0U;
  };
  {
    const std::lock_guard lock(mutex_);
    if (walks_.Fresh(folder)) {
      listing->End(AddLatest(folder, true, *listing));
      return listing;
    }
    ++listings_;
  }
  try {
    Thread::Start(list);
  } catch (const std::exception&) {
    list();
  }
  return listing;
}

// Ends the listing in any case: somebody may wait for it.
void VirtualDrive::ListInto(TextView folder, FolderListing& listing) {
  try {
    listing.End(ListFolder(folder, listing));
  } catch (const std::exception&) {
    listing.End(DriveError::kIo);
  }
}

DriveError VirtualDrive::ListFolder(TextView folder, FolderListing& listing) {
  OpenFilesByName open_files;
  {
    const std::lock_guard lock(mutex_);
    open_files = OpenFilesIn(folder);
  }
  bool was_walked = false;
  const auto add = [&](NamedNode& node) {
    was_walked = true;
    AddNode(node.name, node.info, open_files, listing);
  };
  if (const DriveError error = WalkFolder(folder, false, add); error != DriveError::kNone) {
    return error;
  }
  const std::lock_guard lock(mutex_);
  return AddLatest(folder, !was_walked, listing);
}

// walked: the entries of the last walk, too, not only the open files that it does not know.
DriveError VirtualDrive::AddLatest(TextView folder, bool walked, FolderListing& listing) const {
  const Nodes* nodes = walks_.Latest(folder);
  if (!nodes) return DriveError::kNotFound;  // renamed or removed meanwhile
  const OpenFilesByName open_files = OpenFilesIn(folder);
  if (walked) {
    for (const auto& [name, info] : *nodes) AddNode(name, info, open_files, listing);
  }
  for (const auto& [name, file] : open_files) {
    if (!nodes->contains(name)) listing.Add({name, InfoOf(*file, {})});
  }
  return DriveError::kNone;
}

OpenFilesByName VirtualDrive::OpenFilesIn(TextView folder) const {
  OpenFilesByName result;
  for (const auto& [path, file] : open_files_) {
    if (ParentOf(path) == folder) result.emplace(LeafOf(path), file);
  }
  return result;
}

}  // namespace zv
