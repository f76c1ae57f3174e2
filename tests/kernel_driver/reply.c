// What the worker sends back, and the copying from and to its memory.
#include "zvfs.h"

#define PROCESS_MEMORY_ACCESS 0x0038  // operation, read, write

NTSYSAPI NTSTATUS NTAPI ZwOpenProcess(HANDLE* process, ACCESS_MASK access,
                                      OBJECT_ATTRIBUTES* attributes, CLIENT_ID* id);
NTSYSAPI NTSTATUS NTAPI NtReadVirtualMemory(HANDLE process, const void* address, void* buffer,
                                            SIZE_T size, SIZE_T* done);
NTSYSAPI NTSTATUS NTAPI NtWriteVirtualMemory(HANDLE process, void* address, const void* buffer,
                                             SIZE_T size, SIZE_T* done);
NTKERNELAPI PEPROCESS NTAPI IoGetRequestorProcess(IRP* irp);

typedef struct ReplyForm {
  ULONG code;
  ULONG queue;
  ULONG input;
  ULONG output;
} ReplyForm;

static const ReplyForm kReplies[] = {
    {ZVFS_QUERY_INFO_REPLY, 0, 584, 0},    {ZVFS_DIRECTORY_REPLY, 0, 584, 0},
    {ZVFS_NAMESPACE_REPLY, 0, 4, 0},       {ZVFS_VOLUME_REPLY, 0, 32, 0},
    {ZVFS_BACKUP_REPLY, 1, 16, 16},        {ZVFS_RESTORE_REPLY, 1, 16, 0},
    {ZVFS_TRANSFER_STATUS_REPLY, 1, 4, 0},
};

static const ReplyForm* FindReply(ULONG code) {
  for (ULONG i = 0; i < sizeof(kReplies) / sizeof(kReplies[0]); ++i) {
    if (kReplies[i].code == code) return &kReplies[i];
  }
  return NULL;
}

BOOLEAN IsReply(ULONG code) { return FindReply(code) != NULL; }

static HANDLE OpenWorker(IRP* irp) {
  HANDLE process = NULL;
  CLIENT_ID id = {PsGetProcessId(IoGetRequestorProcess(irp)), NULL};
  OBJECT_ATTRIBUTES attributes;
  InitializeObjectAttributes(&attributes, NULL, OBJ_KERNEL_HANDLE, NULL, NULL);
  if (!NT_SUCCESS(ZwOpenProcess(&process, PROCESS_MEMORY_ACCESS, &attributes, &id))) return NULL;
  return process;
}

static BOOLEAN ReadWorker(IRP* irp, ULONG64 address, void* to, ULONG size) {
  HANDLE process = OpenWorker(irp);
  if (process == NULL) return FALSE;
  SIZE_T done = 0;
  NTSTATUS status = NtReadVirtualMemory(process, (const void*)address, to, size, &done);
  ZwClose(process);
  return NT_SUCCESS(status) && done == size;
}

static BOOLEAN WriteWorker(IRP* irp, ULONG64 address, const void* from, ULONG size) {
  HANDLE process = OpenWorker(irp);
  if (process == NULL) return FALSE;
  SIZE_T done = 0;
  NTSTATUS status = NtWriteVirtualMemory(process, (void*)address, from, size, &done);
  ZwClose(process);
  return NT_SUCCESS(status) && done == size;
}

static ULONG Least(ULONG a, ULONG b) { return a < b ? a : b; }

// Copies the read range into the tester's buffer, behind the result.
static void CopyRestoredData(IRP* worker, IRP* tester, const TransferReply* reply) {
  BenchResult* result = (BenchResult*)tester->AssociatedIrp.SystemBuffer;
  ULONG room = IoGetCurrentIrpStackLocation(tester)->Parameters.DeviceIoControl.OutputBufferLength;
  ULONG size = Least(reply->length, room - (ULONG)sizeof(*result));
  if (reply->buffer == 0 || size == 0) return;
  if (ReadWorker(worker, reply->buffer, result + 1, size))
    result->data_size = size;
  else
    result->copy_failed = 1;
}

// Copies the tester's block into the worker's buffer and hands its length back. Returns whether a
// copy failed; then the length is 0.
static BOOLEAN CopyBlock(IRP* worker, IRP* tester, TransferReply* reply) {
  if (reply->buffer == 0 || reply->status != 0) return FALSE;
  ULONG size = 0;
  if (tester != NULL) {
    const BenchSubmit* submit = (const BenchSubmit*)tester->AssociatedIrp.SystemBuffer;
    size = Least(reply->length, submit->block_size);
    if (size > 0 && !WriteWorker(worker, reply->buffer, submit + 1, size)) {
      reply->length = 0;
      return TRUE;
    }
  }
  reply->length = size;
  return FALSE;
}

// The tester's buffer still holds what it submitted; from here on it holds the result.
static void StartResult(IRP* tester, ULONG code, const void* record, ULONG size) {
  BenchResult* result = (BenchResult*)tester->AssociatedIrp.SystemBuffer;
  RtlZeroMemory(result, sizeof(*result));
  result->code = code;
  result->record_size = size;
  RtlCopyMemory(result->record, record, size);
}

NTSTATUS TakeReply(Handle* handle, IRP* irp, ULONG code, ULONG input, ULONG output,
                   ULONG_PTR* information) {
  const ReplyForm* form = FindReply(code);
  if (zvfs.refuse_replies > 0) {
    --zvfs.refuse_replies;
    return STATUS_ACCESS_DENIED;
  }
  if (input != form->input || output != form->output) return STATUS_INFO_LENGTH_MISMATCH;
  Submission* request = handle->in_flight[form->queue];
  if (request == NULL) return STATUS_INVALID_DEVICE_STATE;
  TransferReply* transfer = (TransferReply*)irp->AssociatedIrp.SystemBuffer;
  if (code == ZVFS_RESTORE_REPLY && transfer->length > request->requested)
    return STATUS_INVALID_PARAMETER;

  UCHAR sent[BENCH_REPLY_SIZE];
  RtlCopyMemory(sent, transfer, input);
  BOOLEAN failed = code == ZVFS_BACKUP_REPLY && CopyBlock(irp, request->irp, transfer);
  if (request->irp != NULL) {
    StartResult(request->irp, code, sent, input);
    if (failed) ((BenchResult*)request->irp->AssociatedIrp.SystemBuffer)->copy_failed = 1;
    if (code == ZVFS_RESTORE_REPLY) CopyRestoredData(irp, request->irp, transfer);
  }
  EndInFlight(handle, form->queue, kBenchReplied);
  *information = output;
  return STATUS_SUCCESS;
}
