// The control codes that a worker sends.
#include "zvfs.h"

static NTSTATUS CreateForWorker(const WCHAR* dos_name, ULONG input, ULONG output) {
  if (output != CREATE_OUTPUT_BYTES) return STATUS_INFO_LENGTH_MISMATCH;
  if (zvfs.refuse_create) return STATUS_UNSUCCESSFUL;
  return CreateDrive(dos_name, input);
}

static NTSTATUS DeleteForWorker(const Handle* handle, const WCHAR* dos_name, ULONG input) {
  if (input != DOS_NAME_BYTES) return STATUS_INFO_LENGTH_MISMATCH;
  if (zvfs.refuse_delete || handle->device != zvfs.drive) return STATUS_UNSUCCESSFUL;
  if (RtlCompareMemory(dos_name, handle->device->dos_name, DOS_NAME_BYTES) != DOS_NAME_BYTES)
    return STATUS_INVALID_PARAMETER;
  return RemoveDrive();
}

static NTSTATUS FetchForWorker(Handle* handle, IRP* irp, ULONG queue, ULONG input, ULONG output,
                               ULONG_PTR* information) {
  if (input != BENCH_RECORD_SIZE || output != BENCH_RECORD_SIZE) return STATUS_INFO_LENGTH_MISMATCH;
  NTSTATUS status = FetchRequest(handle, irp, queue);
  if (NT_SUCCESS(status)) *information = BENCH_RECORD_SIZE;
  return status;
}

static NTSTATUS ControlDeviceCall(IRP* irp, ULONG code, ULONG input, ULONG output) {
  if (code != ZVFS_CREATE_DRIVE) return STATUS_INVALID_DEVICE_REQUEST;
  return CreateForWorker((const WCHAR*)irp->AssociatedIrp.SystemBuffer, input, output);
}

static NTSTATUS DriveDeviceCall(Handle* handle, IRP* irp, ULONG code, ULONG input, ULONG output,
                                ULONG_PTR* information) {
  if (code == ZVFS_GET_INFO_REQUEST)
    return FetchForWorker(handle, irp, 0, input, output, information);
  if (code == ZVFS_GET_TRANSFER_REQUEST)
    return FetchForWorker(handle, irp, 1, input, output, information);
  if (code == ZVFS_DELETE_DRIVE)
    return DeleteForWorker(handle, (const WCHAR*)irp->AssociatedIrp.SystemBuffer, input);
  if (IsReply(code)) return TakeReply(handle, irp, code, input, output, information);
  return STATUS_INVALID_DEVICE_REQUEST;
}

NTSTATUS WorkerCall(Handle* handle, IRP* irp, ULONG_PTR* information) {
  const IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
  ULONG code = stack->Parameters.DeviceIoControl.IoControlCode;
  ULONG input = stack->Parameters.DeviceIoControl.InputBufferLength;
  ULONG output = stack->Parameters.DeviceIoControl.OutputBufferLength;
  // Logged first: the buffer is about to change, and a pending call may be answered by another.
  BenchCall* call = LogCall(handle->device, code, irp->AssociatedIrp.SystemBuffer, input, output);
  NTSTATUS status;
  if (handle->device->kind == kControlDevice)
    status = ControlDeviceCall(irp, code, input, output);
  else
    status = DriveDeviceCall(handle, irp, code, input, output, information);
  call->accepted = NT_SUCCESS(status);
  return status;
}
