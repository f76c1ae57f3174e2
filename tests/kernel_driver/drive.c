// The drive device: made by a create-drive request, unmade by a delete-drive request.
#include "zvfs.h"

// "\DosDevices\" and a local name, terminated within its field.
static BOOLEAN IsDosName(const WCHAR* name) {
  for (ULONG i = 0; i < DOS_PREFIX_UNITS; ++i) {
    if (name[i] != DOS_PREFIX[i]) return FALSE;
  }
  if (name[DOS_PREFIX_UNITS] == 0) return FALSE;
  for (ULONG i = DOS_PREFIX_UNITS; i < BENCH_NAME_UNITS; ++i) {
    if (name[i] == 0) return TRUE;
  }
  return FALSE;
}

// A device object cannot go while handles are open on it; it waits here until they are closed.
void ReapRemovedDrives(void) {
  LIST_ENTRY* entry = zvfs.removed.Flink;
  while (entry != &zvfs.removed) {
    Device* device = CONTAINING_RECORD(entry, Device, link);
    entry = entry->Flink;
    if (device->use.open_now == 0) {
      RemoveEntryList(&device->link);
      UnmakeDevice(device);
    }
  }
}

// Every drive has a name of its own, as the one before may still have handles.
static void FormatDeviceName(WCHAR* name, ULONG number) {
  const WCHAR prefix[] = L"\\Device\\ZVfsDrive";
  ULONG length = sizeof(prefix) / sizeof(prefix[0]) - 1;
  for (ULONG i = 0; i < length; ++i) name[i] = prefix[i];
  for (ULONG shift = 32; shift > 0; shift -= 4)
    name[length++] = L"0123456789ABCDEF"[number >> (shift - 4) & 15];
  name[length] = 0;
}

NTSTATUS CreateDrive(const WCHAR* dos_name, ULONG size) {
  if (size != DOS_NAME_BYTES || !IsDosName(dos_name)) return STATUS_INVALID_PARAMETER;
  if (zvfs.drive != NULL) return STATUS_OBJECT_NAME_COLLISION;
  ReapRemovedDrives();
  WCHAR nt_name[DEVICE_NAME_UNITS];
  FormatDeviceName(nt_name, zvfs.drive_number++);
  zvfs.drive = MakeDevice(kDriveDevice, nt_name, dos_name);
  if (zvfs.drive == NULL) return STATUS_INSUFFICIENT_RESOURCES;
  for (ULONG queue = 0; queue < QUEUES; ++queue) zvfs.ended[queue] = FALSE;
  return STATUS_SUCCESS;
}

NTSTATUS RemoveDrive(void) {
  Device* device = zvfs.drive;
  if (device == NULL) return STATUS_NO_SUCH_DEVICE;
  UnlinkDevice(device);
  device->removed = TRUE;
  zvfs.drive = NULL;
  InsertTailList(&zvfs.removed, &device->link);
  for (ULONG queue = 0; queue < QUEUES; ++queue) ServeFetches(queue);
  return STATUS_SUCCESS;
}
