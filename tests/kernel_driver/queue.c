// Requests that wait for a fetch, and fetches that wait for a request.
#include "zvfs.h"

// True when the request can be completed here; false when its cancel routine is already on the way
// and will complete it.
static BOOLEAN ClaimFromCancel(IRP* irp) { return IoSetCancelRoutine(irp, NULL) != NULL; }

// Makes a request cancellable and leaves it pending; false when it was cancelled before that.
static BOOLEAN Park(IRP* irp, PDRIVER_CANCEL routine) {
  IoSetCancelRoutine(irp, routine);
  if (irp->Cancel && ClaimFromCancel(irp)) return FALSE;
  IoMarkIrpPending(irp);
  return TRUE;
}

static void NTAPI CancelFetch(DEVICE_OBJECT* object, IRP* irp) {
  (void)object;
  IoReleaseCancelSpinLock(irp->CancelIrql);
  ExAcquireFastMutex(&zvfs.lock);
  RemoveEntryList(&irp->Tail.Overlay.ListEntry);
  ExReleaseFastMutex(&zvfs.lock);
  CompleteRequest(irp, STATUS_CANCELLED, 0);
}

// The tester has given up: a waiting request goes, one in flight stays with its handle, unheard.
static void NTAPI CancelSubmission(DEVICE_OBJECT* object, IRP* irp) {
  (void)object;
  IoReleaseCancelSpinLock(irp->CancelIrql);
  ExAcquireFastMutex(&zvfs.lock);
  Submission* request = (Submission*)irp->Tail.Overlay.DriverContext[0];
  if (request != NULL) {
    request->irp = NULL;
    if (!IsListEmpty(&request->link)) {
      RemoveEntryList(&request->link);
      ExFreePoolWithTag(request, ZVFS_TAG);
    }
  }
  ExReleaseFastMutex(&zvfs.lock);
  CompleteRequest(irp, STATUS_CANCELLED, 0);
}

// Completes the tester's request with what its buffer holds and releases the submission.
void EndRequest(Submission* request, ULONG outcome) {
  IRP* irp = request->irp;
  if (irp != NULL && ClaimFromCancel(irp)) {
    BenchResult* result = (BenchResult*)irp->AssociatedIrp.SystemBuffer;
    if (outcome != kBenchReplied) RtlZeroMemory(result, sizeof(*result));
    result->outcome = outcome;
    CompleteRequest(irp, STATUS_SUCCESS, sizeof(*result) + result->data_size);
  } else if (irp != NULL) {
    irp->Tail.Overlay.DriverContext[0] = NULL;
  }
  ExFreePoolWithTag(request, ZVFS_TAG);
}

void EndInFlight(Handle* handle, ULONG queue, ULONG outcome) {
  Submission* request = handle->in_flight[queue];
  handle->in_flight[queue] = NULL;
  if (request != NULL) EndRequest(request, outcome);
}

// Fills the fetch's record if there is anything to hand out.
static BOOLEAN HandOut(Handle* handle, IRP* irp, ULONG queue) {
  UCHAR* record = (UCHAR*)irp->AssociatedIrp.SystemBuffer;
  if (!handle->device->removed && !IsListEmpty(&zvfs.requests[queue])) {
    Submission* request =
        CONTAINING_RECORD(RemoveHeadList(&zvfs.requests[queue]), Submission, link);
    InitializeListHead(&request->link);
    RtlCopyMemory(record, request->record, BENCH_RECORD_SIZE);
    handle->in_flight[queue] = request;
    return TRUE;
  }
  if (handle->device->removed || zvfs.ended[queue]) {
    RtlZeroMemory(record, BENCH_RECORD_SIZE);
    *(ULONG*)record = MAJOR_END;
    return TRUE;
  }
  return FALSE;
}

NTSTATUS FetchRequest(Handle* handle, IRP* irp, ULONG queue) {
  EndInFlight(handle, queue, kBenchNoReply);
  if (zvfs.fail_fetches[queue] > 0) {
    --zvfs.fail_fetches[queue];
    return STATUS_UNSUCCESSFUL;
  }
  if (HandOut(handle, irp, queue)) return STATUS_SUCCESS;
  InsertTailList(&zvfs.fetches[queue], &irp->Tail.Overlay.ListEntry);
  if (Park(irp, CancelFetch)) return STATUS_PENDING;
  RemoveEntryList(&irp->Tail.Overlay.ListEntry);
  return STATUS_CANCELLED;
}

// Takes a fetch out of its list; false when it is being cancelled.
static BOOLEAN TakeFetch(IRP* irp) {
  if (!ClaimFromCancel(irp)) return FALSE;
  RemoveEntryList(&irp->Tail.Overlay.ListEntry);
  return TRUE;
}

void ServeFetches(ULONG queue) {
  LIST_ENTRY* entry = zvfs.fetches[queue].Flink;
  while (entry != &zvfs.fetches[queue]) {
    IRP* irp = CONTAINING_RECORD(entry, IRP, Tail.Overlay.ListEntry);
    Handle* handle = HandleOf(irp);
    entry = entry->Flink;
    BOOLEAN anything =
        handle->device->removed || zvfs.ended[queue] || !IsListEmpty(&zvfs.requests[queue]);
    if (!anything) return;
    if (!TakeFetch(irp)) continue;
    HandOut(handle, irp, queue);
    CompleteRequest(irp, STATUS_SUCCESS, BENCH_RECORD_SIZE);
  }
}

void FailFetches(ULONG queue, ULONG count) {
  zvfs.fail_fetches[queue] = count;
  LIST_ENTRY* entry = zvfs.fetches[queue].Flink;
  while (entry != &zvfs.fetches[queue] && zvfs.fail_fetches[queue] > 0) {
    IRP* irp = CONTAINING_RECORD(entry, IRP, Tail.Overlay.ListEntry);
    entry = entry->Flink;
    if (!TakeFetch(irp)) continue;
    --zvfs.fail_fetches[queue];
    CompleteRequest(irp, STATUS_UNSUCCESSFUL, 0);
  }
}

NTSTATUS SubmitRequest(IRP* irp, const BenchSubmit* submit) {
  Submission* request = (Submission*)AllocateZeroed(sizeof(Submission));
  if (request == NULL) return STATUS_INSUFFICIENT_RESOURCES;
  request->irp = irp;
  request->queue = submit->queue;
  request->requested = *(const ULONG*)(submit->record + LENGTH_OFFSET);
  RtlCopyMemory(request->record, submit->record, BENCH_RECORD_SIZE);
  irp->Tail.Overlay.DriverContext[0] = request;
  if (!Park(irp, CancelSubmission)) {
    ExFreePoolWithTag(request, ZVFS_TAG);
    return STATUS_CANCELLED;
  }
  InsertTailList(&zvfs.requests[request->queue], &request->link);
  ServeFetches(request->queue);
  return STATUS_PENDING;
}

ULONG CountFetches(ULONG queue) {
  ULONG count = 0;
  for (LIST_ENTRY* entry = zvfs.fetches[queue].Flink; entry != &zvfs.fetches[queue];
       entry = entry->Flink)
    ++count;
  return count;
}

void AbandonAll(void) {
  for (LIST_ENTRY* entry = zvfs.handles.Flink; entry != &zvfs.handles; entry = entry->Flink) {
    Handle* handle = CONTAINING_RECORD(entry, Handle, link);
    for (ULONG queue = 0; queue < QUEUES; ++queue) EndInFlight(handle, queue, kBenchNoReply);
  }
  for (ULONG queue = 0; queue < QUEUES; ++queue) {
    while (!IsListEmpty(&zvfs.requests[queue]))
      EndRequest(CONTAINING_RECORD(RemoveHeadList(&zvfs.requests[queue]), Submission, link),
                 kBenchNoReply);
    FailFetches(queue, MAXULONG);
  }
}
