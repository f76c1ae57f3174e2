// Entry, devices and handles of the playing driver.
#include "zvfs.h"

State zvfs;

void* AllocateZeroed(SIZE_T size) {
  void* memory = ExAllocatePoolWithTag(NonPagedPool, size, ZVFS_TAG);
  if (memory != NULL) RtlZeroMemory(memory, size);
  return memory;
}

void CompleteRequest(IRP* irp, NTSTATUS status, ULONG_PTR information) {
  irp->IoStatus.Status = status;
  irp->IoStatus.Information = information;
  IoCompleteRequest(irp, IO_NO_INCREMENT);
}

Handle* HandleOf(IRP* irp) {
  return (Handle*)IoGetCurrentIrpStackLocation(irp)->FileObject->FsContext;
}

BOOLEAN LinkDevice(Device* device) {
  if (device->linked) return TRUE;
  UNICODE_STRING name;
  UNICODE_STRING link;
  RtlInitUnicodeString(&name, device->nt_name);
  RtlInitUnicodeString(&link, device->dos_name);
  device->linked = (BOOLEAN)NT_SUCCESS(IoCreateSymbolicLink(&link, &name));
  return device->linked;
}

void UnlinkDevice(Device* device) {
  if (!device->linked) return;
  UNICODE_STRING link;
  RtlInitUnicodeString(&link, device->dos_name);
  IoDeleteSymbolicLink(&link);
  device->linked = FALSE;
}

Device* MakeDevice(enum DeviceKind kind, const WCHAR* nt_name, const WCHAR* dos_name) {
  UNICODE_STRING name;
  DEVICE_OBJECT* object;
  RtlInitUnicodeString(&name, nt_name);
  if (!NT_SUCCESS(IoCreateDevice(zvfs.driver, sizeof(Device), &name, FILE_DEVICE_UNKNOWN, 0, FALSE,
                                 &object)))
    return NULL;
  Device* device = (Device*)object->DeviceExtension;
  RtlZeroMemory(device, sizeof(*device));
  device->object = object;
  device->kind = kind;
  for (ULONG i = 0; dos_name[i] != 0; ++i) device->dos_name[i] = dos_name[i];
  for (ULONG i = 0; nt_name[i] != 0; ++i) device->nt_name[i] = nt_name[i];
  if (!LinkDevice(device)) {
    IoDeleteDevice(object);
    return NULL;
  }
  object->Flags |= DO_BUFFERED_IO;
  object->Flags &= ~(ULONG)DO_DEVICE_INITIALIZING;
  return device;
}

void UnmakeDevice(Device* device) {
  UnlinkDevice(device);
  IoDeleteDevice(device->object);
}

static NTSTATUS OpenHandle(Device* device, IRP* irp) {
  Handle* handle = (Handle*)AllocateZeroed(sizeof(Handle));
  if (handle == NULL) return STATUS_INSUFFICIENT_RESOURCES;
  handle->device = device;
  InsertTailList(&zvfs.handles, &handle->link);
  IoGetCurrentIrpStackLocation(irp)->FileObject->FsContext = handle;
  ++device->use.opens;
  ++device->use.open_now;
  return STATUS_SUCCESS;
}

static NTSTATUS NTAPI DispatchCreate(DEVICE_OBJECT* object, IRP* irp) {
  ExAcquireFastMutex(&zvfs.lock);
  NTSTATUS status = OpenHandle((Device*)object->DeviceExtension, irp);
  ExReleaseFastMutex(&zvfs.lock);
  CompleteRequest(irp, status, 0);
  return status;
}

// Close, not clean-up, is what a handle's end is known by: not every system dispatches the latter.
static NTSTATUS NTAPI DispatchClose(DEVICE_OBJECT* object, IRP* irp) {
  (void)object;
  ExAcquireFastMutex(&zvfs.lock);
  Handle* handle = HandleOf(irp);
  if (handle != NULL) {
    for (ULONG queue = 0; queue < QUEUES; ++queue) EndInFlight(handle, queue, kBenchWorkerGone);
    --handle->device->use.open_now;
    RemoveEntryList(&handle->link);
    ExFreePoolWithTag(handle, ZVFS_TAG);
    IoGetCurrentIrpStackLocation(irp)->FileObject->FsContext = NULL;
  }
  ExReleaseFastMutex(&zvfs.lock);
  CompleteRequest(irp, STATUS_SUCCESS, 0);
  return STATUS_SUCCESS;
}

static NTSTATUS NTAPI DispatchCleanup(DEVICE_OBJECT* object, IRP* irp) {
  (void)object;
  CompleteRequest(irp, STATUS_SUCCESS, 0);
  return STATUS_SUCCESS;
}

static NTSTATUS NTAPI DispatchControl(DEVICE_OBJECT* object, IRP* irp) {
  (void)object;
  ULONG_PTR information = 0;
  NTSTATUS status;
  ExAcquireFastMutex(&zvfs.lock);
  Handle* handle = HandleOf(irp);
  // Not every system lets an open fail because the driver failed it.
  if (handle == NULL)
    status = STATUS_INVALID_HANDLE;
  else if (handle->device->kind == kBenchDevice)
    status = BenchControl(irp, &information);
  else
    status = WorkerCall(handle, irp, &information);
  ExReleaseFastMutex(&zvfs.lock);
  if (status != STATUS_PENDING) CompleteRequest(irp, status, information);
  return status;
}

// Handles may still be open: nothing of theirs may be left behind.
static void NTAPI Unload(DRIVER_OBJECT* driver) {
  (void)driver;
  ExAcquireFastMutex(&zvfs.lock);
  AbandonAll();
  while (!IsListEmpty(&zvfs.handles))
    ExFreePoolWithTag(CONTAINING_RECORD(RemoveHeadList(&zvfs.handles), Handle, link), ZVFS_TAG);
  while (!IsListEmpty(&zvfs.removed))
    UnmakeDevice(CONTAINING_RECORD(RemoveHeadList(&zvfs.removed), Device, link));
  if (zvfs.drive != NULL) UnmakeDevice(zvfs.drive);
  UnmakeDevice(zvfs.control);
  UnmakeDevice(zvfs.bench);
  StopCallLog();
  ExReleaseFastMutex(&zvfs.lock);
}

static NTSTATUS MakeFixedDevices(void) {
  zvfs.control = MakeDevice(kControlDevice, L"\\Device\\ZVfs", L"\\DosDevices\\ZVfs");
  if (zvfs.control == NULL) return STATUS_INSUFFICIENT_RESOURCES;
  zvfs.bench = MakeDevice(kBenchDevice, L"\\Device\\ZVfsBench", L"\\DosDevices\\ZVfsBench");
  if (zvfs.bench == NULL) {
    UnmakeDevice(zvfs.control);
    return STATUS_INSUFFICIENT_RESOURCES;
  }
  return STATUS_SUCCESS;
}

NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING* path);

NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING* path) {
  // A driver that imports from ntdll is first called as a DLL, with a small number for the path.
  if ((ULONG_PTR)path < 16) return 1;
  zvfs.driver = driver;
  ExInitializeFastMutex(&zvfs.lock);
  InitializeListHead(&zvfs.removed);
  InitializeListHead(&zvfs.handles);
  for (ULONG queue = 0; queue < QUEUES; ++queue) {
    InitializeListHead(&zvfs.requests[queue]);
    InitializeListHead(&zvfs.fetches[queue]);
  }
  driver->MajorFunction[IRP_MJ_CREATE] = DispatchCreate;
  driver->MajorFunction[IRP_MJ_CLEANUP] = DispatchCleanup;
  driver->MajorFunction[IRP_MJ_CLOSE] = DispatchClose;
  driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = DispatchControl;
  driver->DriverUnload = Unload;
  NTSTATUS status = StartCallLog();
  if (!NT_SUCCESS(status)) return status;
  status = MakeFixedDevices();
  if (!NT_SUCCESS(status)) StopCallLog();
  return status;
}
