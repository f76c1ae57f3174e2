// A driver that plays `ZVfs` in tests: state and internal interfaces.
//
// One lock (`zvfs.lock`) guards all state. Dispatch routines take it and hold it to their end;
// every function below but the dispatch and cancel routines expects it held.
#ifndef TESTS_KERNEL_DRIVER_ZVFS_H_
#define TESTS_KERNEL_DRIVER_ZVFS_H_

#include <ntddk.h>

#include "bench_protocol.h"

#define ZVFS_CODE(function) CTL_CODE(0x28, function, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define ZVFS_CREATE_DRIVE ZVFS_CODE(0x802)
#define ZVFS_GET_INFO_REQUEST ZVFS_CODE(0x803)
#define ZVFS_QUERY_INFO_REPLY ZVFS_CODE(0x804)
#define ZVFS_DIRECTORY_REPLY ZVFS_CODE(0x805)
#define ZVFS_NAMESPACE_REPLY ZVFS_CODE(0x806)
#define ZVFS_BACKUP_REPLY ZVFS_CODE(0x807)
#define ZVFS_RESTORE_REPLY ZVFS_CODE(0x808)
#define ZVFS_VOLUME_REPLY ZVFS_CODE(0x809)
#define ZVFS_GET_TRANSFER_REQUEST ZVFS_CODE(0xBEB)
#define ZVFS_TRANSFER_STATUS_REPLY ZVFS_CODE(0xBEE)
#define ZVFS_DELETE_DRIVE ZVFS_CODE(0xFA0)

#define DOS_NAME_BYTES 520
#define CREATE_OUTPUT_BYTES 255
#define DOS_PREFIX L"\\DosDevices\\"
#define DOS_PREFIX_UNITS 12
#define LENGTH_OFFSET 8  // of the step's length in a request record
#define MAJOR_END 0xFFFFFFFFu
#define DEVICE_NAME_UNITS 32
#define QUEUES 2
#define ZVFS_TAG 0x7366565Au  // "ZVfs", of pool memory

enum DeviceKind { kControlDevice = 0, kDriveDevice = 1, kBenchDevice = 2 };

typedef struct TransferReply {
  ULONG length;
  ULONG status;
  ULONG64 buffer;
} TransferReply;

// A device object's extension.
typedef struct Device {
  LIST_ENTRY link;  // of a drive that was removed while handles were open
  DEVICE_OBJECT* object;
  enum DeviceKind kind;
  BOOLEAN removed;
  BOOLEAN linked;  // its DOS name can be opened
  BenchUse use;
  WCHAR nt_name[DEVICE_NAME_UNITS];
  WCHAR dos_name[BENCH_NAME_UNITS];
} Device;

// A request on its way: in a queue, or in flight on a handle.
typedef struct Submission {
  LIST_ENTRY link;
  IRP* irp;  // the tester's; null once the tester has given up
  ULONG queue;
  ULONG requested;  // the record's length field
  UCHAR record[BENCH_RECORD_SIZE];
} Submission;

// An open handle; what file objects carry.
typedef struct Handle {
  LIST_ENTRY link;
  Device* device;
  Submission* in_flight[QUEUES];
} Handle;

typedef struct State {
  FAST_MUTEX lock;
  DRIVER_OBJECT* driver;
  Device* control;
  Device* bench;
  Device* drive;  // null when there is none
  ULONG drive_number;
  LIST_ENTRY removed;           // Device
  LIST_ENTRY handles;           // Handle
  LIST_ENTRY requests[QUEUES];  // Submission
  LIST_ENTRY fetches[QUEUES];   // IRP, by Tail.Overlay.ListEntry
  BOOLEAN ended[QUEUES];
  ULONG fail_fetches[QUEUES];
  ULONG refuse_replies;
  BOOLEAN refuse_create;
  BOOLEAN refuse_delete;
} State;

extern State zvfs;

// zvfs.c
void* AllocateZeroed(SIZE_T size);
void CompleteRequest(IRP* irp, NTSTATUS status, ULONG_PTR information);
Handle* HandleOf(IRP* irp);
Device* MakeDevice(enum DeviceKind kind, const WCHAR* nt_name, const WCHAR* dos_name);
BOOLEAN LinkDevice(Device* device);
void UnlinkDevice(Device* device);
void UnmakeDevice(Device* device);

// drive.c
NTSTATUS CreateDrive(const WCHAR* dos_name, ULONG size);
NTSTATUS RemoveDrive(void);
void ReapRemovedDrives(void);

// queue.c
NTSTATUS FetchRequest(Handle* handle, IRP* irp, ULONG queue);
NTSTATUS SubmitRequest(IRP* irp, const BenchSubmit* submit);
void ServeFetches(ULONG queue);
void FailFetches(ULONG queue, ULONG count);
void EndRequest(Submission* request, ULONG outcome);
void EndInFlight(Handle* handle, ULONG queue, ULONG outcome);
ULONG CountFetches(ULONG queue);
void AbandonAll(void);

// reply.c
NTSTATUS TakeReply(Handle* handle, IRP* irp, ULONG code, ULONG input, ULONG output,
                   ULONG_PTR* information);
BOOLEAN IsReply(ULONG code);

// worker_calls.c
NTSTATUS WorkerCall(Handle* handle, IRP* irp, ULONG_PTR* information);

// bench_calls.c
NTSTATUS BenchControl(IRP* irp, ULONG_PTR* information);

// call_log.c
NTSTATUS StartCallLog(void);
void StopCallLog(void);
BenchCall* LogCall(const Device* device, ULONG code, const void* input, ULONG input_size,
                   ULONG output_size);
ULONG CopyCalls(BenchCall* out, ULONG room);
void CopyCallCounts(BenchState* state);

#endif  // TESTS_KERNEL_DRIVER_ZVFS_H_
