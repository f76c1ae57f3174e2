// What the callbacks work on.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "apps/zvdrive/drive/content_view.h"
#include "apps/zvdrive/drive/folder_listing.h"
#include "apps/zvdrive/drive/told_sizes.h"
#include "apps/zvdrive/drive/virtual_drive.h"
#include "apps/zvdrive/fuse/hidden_files.h"
#include "apps/zvdrive/fuse/open_handles.h"
#include "apps/zvdrive/fuse/open_modes.h"

namespace zv {

// How long the kernel goes by what it was told of an entry.
inline constexpr std::chrono::seconds kAttributeLifetime{1};

struct OpenFolder {
  explicit OpenFolder(Text where) : path(std::move(where)) {}

  std::mutex mutex;                        // guards what follows
  Text path;                               // on the drive; goes with renames
  std::shared_ptr<FolderListing> listing;  // from the first read on, and anew at each rewinding
};

struct OpenHandle {
  FileHandle file;
  std::optional<ContentView> view;  // while reads go past us
  std::optional<KernelOpen> open;
  bool maps = false;  // a shared map of it would be one of the cached content
};

struct Mounted {
  explicit Mounted(VirtualDrive& shown) : drive(shown) {}

  VirtualDrive& drive;
  ToldSizes told{kAttributeLifetime};
  OpenModes modes;
  OpenHandles<OpenHandle> files;
  HiddenFiles hidden;
  OpenHandles<OpenFolder> folders;
};

// Of the mount whose call this thread serves.
Mounted& TheMount();
VirtualDrive& TheDrive();
// The image name of the program that asks; the kernel does not say which one releases a file. Empty
// when it cannot be had, so that a file is closed in any case.
Text ProcessName();

}  // namespace zv
