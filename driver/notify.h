// Telling the shell what has changed, on short-lived threads of their own: a polling thread never
// waits for the shell.
#pragma once

#include <cstddef>
#include <cstdint>

#include "driver/protocol.h"
#include "platform/text.h"

namespace zv {

// One notification on its way to its thread, 1044 bytes. Paths are cut at 259 units and terminated.
struct NotificationRecord {
  uint32_t event = 0;  // kShell...
  char16_t first_path[kPathUnits] = {};
  char16_t second_path[kPathUnits] = {};
};
static_assert(sizeof(NotificationRecord) == 1044);
static_assert(offsetof(NotificationRecord, first_path) == 4);
static_assert(offsetof(NotificationRecord, second_path) == 524);

// Starts a notification, unless the shell does not hear of such events, and returns at once.
// second_path counts for a rename only. Nothing throws, as the shell's not hearing of a change must
// not break off what the caller is doing: when no thread can be started, that is logged.
void NotifyShell(uint32_t event, TextView first_path, TextView second_path = {});

// The body of a notification's thread. Always 0; nothing throws.
uint32_t NotifyThreadProc(const NotificationRecord& notification);

}  // namespace zv
