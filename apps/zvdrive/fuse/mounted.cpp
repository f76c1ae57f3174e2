#include "apps/zvdrive/fuse/mounted.h"

#define FUSE_USE_VERSION 312
#include <fuse.h>

#include "config/guard.h"
#include "platform/posix/process_name.h"

namespace zv {

Mounted& TheMount() { return *static_cast<Mounted*>(fuse_get_context()->private_data); }
VirtualDrive& TheDrive() { return TheMount().drive; }
Text ProcessName() {
  return GuardedQuietly(Text(), [] { return FromUtf8(ImageNameOf(fuse_get_context()->pid)); });
}

}  // namespace zv
