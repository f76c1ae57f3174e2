// The drive mounted as a FUSE file system, from mounting to unmounting. What programs ask for
// arrives in fuse_callbacks.h.
#pragma once

#include <memory>
#include <string>

#include "apps/zvdrive/drive/drive_host.h"
#include "apps/zvdrive/drive/virtual_drive.h"

namespace zv {

struct MountOptions {
  std::string mount_point;  // an existing folder
  bool allow_other = false;
  bool read_only = false;
  bool own_reads = false;  // no read is passed through to the cache
};

// Whether this machine can mount at all; empty, or what is missing, in words for a person.
std::string MissingForMount();

class FuseMount {
 public:
  // Mounts; throws std::runtime_error with a text for a person when that fails. The drive must
  // outlive the mount.
  FuseMount(VirtualDrive& drive, const MountOptions& options);
  // Unmounts.
  ~FuseMount();
  FuseMount(const FuseMount&) = delete;
  FuseMount& operator=(const FuseMount&) = delete;

  // Serves until Stop is called or the folder is unmounted; several threads. Unmounts. False when
  // it ended before that: the system had no thread for it, or its device failed.
  bool Serve();
  // Any thread but those that serve.
  void Stop();
  // What stands under the path has changed: the system drops what it keeps of it. May wait for
  // reads that the mount is to answer: before Stop, no call is under way. Any thread but those that
  // serve.
  void Invalidate(TextView path);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Whether the program whose call this thread serves wants it to end (a signal came).
bool IsFuseCallInterrupted();

}  // namespace zv
