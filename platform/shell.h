// The shell: change notifications, windows, broadcasts, special folders. Any thread. On Linux what
// is sent is handed to the observer, when one is set (platform/shell_observer.h), and lost
// otherwise.
#pragma once

#include <cstdint>

#include "platform/text.h"

namespace zv {

inline constexpr uint32_t kShellRenameItem = 0x00000001;
inline constexpr uint32_t kShellCreateItem = 0x00000002;
inline constexpr uint32_t kShellDeleteItem = 0x00000004;
inline constexpr uint32_t kShellMakeDirectory = 0x00000008;
inline constexpr uint32_t kShellUpdateItem = 0x00002000;

// Tells the shell of a change, with wide-character paths; an empty second path counts as none.
void NotifyShellChange(uint32_t event, TextView first_path, TextView second_path);
// False when telling of such a change would be for nothing: the observer ignores it.
bool ShellHearsOf(uint32_t event);

using WindowHandle = uintptr_t;  // 0 = no window
WindowHandle FindTopWindow(TextView title);
WindowHandle FindChildWindow(WindowHandle parent, TextView class_name);
bool PostWindowMessage(WindowHandle window, uint32_t message, uintptr_t first, uintptr_t second);

// Broadcasts a device change (event, for example 0x8000 arrival) of a network volume: the 20-byte
// volume record with the drive's bit, to all components, ignore-current-task | no-hang | post.
void BroadcastVolumeChange(uint32_t event, char16_t drive_letter);

// The user's local application-data folder, without a trailing backslash; empty when unknown.
// On Linux C:\Users\<user>\AppData\Local.
Text LocalAppDataFolder();

}  // namespace zv
