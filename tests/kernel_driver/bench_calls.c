// The private control codes of a test.
#include "zvfs.h"

static NTSTATUS Submit(IRP* irp, ULONG input, ULONG output) {
  const BenchSubmit* submit = (const BenchSubmit*)irp->AssociatedIrp.SystemBuffer;
  if (input < sizeof(*submit) || output < sizeof(BenchResult)) return STATUS_BUFFER_TOO_SMALL;
  if (submit->queue >= QUEUES || submit->block_size != input - sizeof(*submit))
    return STATUS_INVALID_PARAMETER;
  return SubmitRequest(irp, submit);
}

static NTSTATUS ApplyScript(const BenchScript* script, ULONG input) {
  if (input != sizeof(*script) || script->queue >= QUEUES) return STATUS_INVALID_PARAMETER;
  switch (script->kind) {
    case kBenchEndPolling:
      zvfs.ended[script->queue] = TRUE;
      ServeFetches(script->queue);
      return STATUS_SUCCESS;
    case kBenchFailFetches:
      FailFetches(script->queue, script->value);
      return STATUS_SUCCESS;
    case kBenchRefuseReplies:
      zvfs.refuse_replies = script->value;
      return STATUS_SUCCESS;
    case kBenchRefuseCreate:
      zvfs.refuse_create = script->value != 0;
      return STATUS_SUCCESS;
    case kBenchRefuseDelete:
      zvfs.refuse_delete = script->value != 0;
      return STATUS_SUCCESS;
    case kBenchHideControl:
      if (script->value != 0) UnlinkDevice(zvfs.control);
      return script->value != 0 || LinkDevice(zvfs.control) ? STATUS_SUCCESS : STATUS_UNSUCCESSFUL;
    default:
      return STATUS_INVALID_PARAMETER;
  }
}

static BenchUse DriveUse(void) {
  const BenchUse none = {0, 0};
  if (zvfs.drive != NULL) return zvfs.drive->use;
  if (IsListEmpty(&zvfs.removed)) return none;
  return CONTAINING_RECORD(zvfs.removed.Blink, Device, link)->use;
}

static void FillState(BenchState* state) {
  RtlZeroMemory(state, sizeof(*state));
  if (zvfs.drive != NULL) {
    const WCHAR* name = zvfs.drive->dos_name + DOS_PREFIX_UNITS;
    for (ULONG i = 0; name[i] != 0; ++i) state->drive[i] = name[i];
  }
  for (ULONG queue = 0; queue < QUEUES; ++queue) state->waiting[queue] = CountFetches(queue);
  state->use[kControlDevice] = zvfs.control->use;
  state->use[kDriveDevice] = DriveUse();
  CopyCallCounts(state);
}

NTSTATUS BenchControl(IRP* irp, ULONG_PTR* information) {
  const IO_STACK_LOCATION* stack = IoGetCurrentIrpStackLocation(irp);
  ULONG input = stack->Parameters.DeviceIoControl.InputBufferLength;
  ULONG output = stack->Parameters.DeviceIoControl.OutputBufferLength;
  void* buffer = irp->AssociatedIrp.SystemBuffer;
  switch (stack->Parameters.DeviceIoControl.IoControlCode) {
    case BENCH_CREATE_DRIVE:
      return CreateDrive((const WCHAR*)buffer, input);
    case BENCH_REMOVE_DRIVE:
      return RemoveDrive();
    case BENCH_SUBMIT:
      return Submit(irp, input, output);
    case BENCH_SCRIPT:
      return ApplyScript((const BenchScript*)buffer, input);
    case BENCH_STATE:
      if (output != sizeof(BenchState)) return STATUS_INFO_LENGTH_MISMATCH;
      FillState((BenchState*)buffer);
      *information = sizeof(BenchState);
      return STATUS_SUCCESS;
    case BENCH_CALLS:
      *information =
          CopyCalls((BenchCall*)buffer, output / (ULONG)sizeof(BenchCall)) * sizeof(BenchCall);
      return STATUS_SUCCESS;
    default:
      return STATUS_INVALID_DEVICE_REQUEST;
  }
}
