#include "platform/shell.h"

#include <pwd.h>
#include <unistd.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "platform/shell_observer.h"

namespace zv {
namespace {

// The observer in force and the calls under way with it. A count, not a lock held during the call:
// an observer may itself tell the shell something.
class ObserverSlot {
 public:
  struct Entry {
    ShellObserver observer;
    int calls = 0;
  };

  void Replace(ShellObserver observer) {
    auto entry = std::make_shared<Entry>(Entry{std::move(observer)});
    std::unique_lock lock(mutex_);
    std::swap(entry_, entry);
    if (entry) ended_.wait(lock, [&] { return entry->calls == 0; });
  }

  std::shared_ptr<Entry> Enter() {
    const std::lock_guard lock(mutex_);
    if (entry_) ++entry_->calls;
    return entry_;
  }

  void Leave(Entry& entry) {
    const std::lock_guard lock(mutex_);
    if (--entry.calls == 0) ended_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable ended_;
  std::shared_ptr<Entry> entry_;
};

// Never destroyed: notifications come from threads of their own, up to the end of the process.
ObserverSlot& Slot() {
  static ObserverSlot& slot = *std::make_unique<ObserverSlot>().release();
  return slot;
}

// The observer's use for one call; every member is empty when none is set.
class ObserverUse {
 public:
  ObserverUse() : entry_(Slot().Enter()) {}
  ~ObserverUse() {
    if (entry_) Slot().Leave(*entry_);
  }
  ObserverUse(const ObserverUse&) = delete;
  ObserverUse& operator=(const ObserverUse&) = delete;

  const ShellObserver* operator->() const {
    static const ShellObserver kNone;
    return entry_ ? &entry_->observer : &kNone;
  }

 private:
  std::shared_ptr<ObserverSlot::Entry> entry_;
};

std::string UserName() {
  char buffer[4096];
  passwd record;
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &record, buffer, sizeof buffer, &found) == 0 && found) {
    return found->pw_name;
  }
  return std::to_string(geteuid());
}

}  // namespace

void SetShellObserver(ShellObserver observer) { Slot().Replace(std::move(observer)); }

void NotifyShellChange(uint32_t event, TextView first_path, TextView second_path) {
  const ObserverUse use;
  const bool ignored = (use->ignored_changes & event) != 0;
  if (use->on_change && !ignored) use->on_change(event, first_path, second_path);
}

bool ShellHearsOf(uint32_t event) {
  const ObserverUse use;
  return (use->ignored_changes & event) == 0;
}

WindowHandle FindTopWindow(TextView title) {
  const ObserverUse use;
  return use->find_top ? use->find_top(title) : 0;
}

WindowHandle FindChildWindow(WindowHandle parent, TextView class_name) {
  const ObserverUse use;
  return use->find_child ? use->find_child(parent, class_name) : 0;
}

bool PostWindowMessage(WindowHandle window, uint32_t message, uintptr_t first, uintptr_t second) {
  const ObserverUse use;
  if (!use->on_post) return false;
  use->on_post(window, message, first, second);
  return true;
}

void BroadcastVolumeChange(uint32_t event, char16_t drive_letter) {
  const ObserverUse use;
  if (use->on_volume) use->on_volume(event, drive_letter);
}

Text LocalAppDataFolder() {
  // Asked for with every log line; the user of a process does not change.
  static const Text folder = u"C:\\Users\\" + FromUtf8(UserName()) + u"\\AppData\\Local";
  return folder;
}

}  // namespace zv
