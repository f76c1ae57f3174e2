// How the kernel treats each open of a file. While one is passed through, all must be, to the same
// other file; those that are uncached as well still ask us.
#pragma once

#include <map>
#include <mutex>
#include <optional>

#include "apps/zvdrive/drive/content_view.h"
#include "apps/zvdrive/drive/open_file.h"
#include "apps/zvdrive/fuse/passthrough.h"

namespace zv {

struct OpenMode {
  bool is_passed_through = false;
  bool is_uncached = false;  // reads and writes ask us, whatever else is true

  bool reads_past_us() const { return is_passed_through && !is_uncached; }
};

// Any thread.
class OpenModes {
 public:
  // Where files can be passed through; to be set before it is served.
  void SetSession(fuse_session* session) { session_ = session; }
  // False when an open of the file would not be passed through, whatever it could be passed to.
  bool MayPassThrough(const OpenFile* file);
  // Before the session ends.
  void ForgetAll();

 private:
  friend class KernelOpen;

  struct Opens {
    int passed_through = 0;
    int others = 0;
    uint64_t device = 0, inode = 0;  // of the content file that they are passed through to
    std::optional<BackingFile> backing;
  };

  OpenMode Begin(const OpenFile* file, bool uncached, const std::optional<ContentView>& view);
  void End(const OpenFile* file, OpenMode mode);
  bool TryPassThrough(Opens& opens, const ContentView& view);

  fuse_session* session_ = nullptr;
  std::mutex mutex_;
  std::map<const OpenFile*, Opens> opens_;
};

// One open, until it is released. Makes this thread's next reply the one to it.
class KernelOpen {
 public:
  // view: the content that its reads may be passed through to, nullopt when they may not.
  KernelOpen(OpenModes& modes, const OpenFile* file, bool uncached,
             const std::optional<ContentView>& view)
      : modes_(modes), file_(file), mode_(modes.Begin(file, uncached, view)) {}
  ~KernelOpen() { modes_.End(file_, mode_); }
  KernelOpen(const KernelOpen&) = delete;
  KernelOpen& operator=(const KernelOpen&) = delete;

  OpenMode mode() const { return mode_; }

 private:
  OpenModes& modes_;
  const OpenFile* const file_;
  const OpenMode mode_;
};

}  // namespace zv
