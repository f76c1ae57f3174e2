// The private device and control codes by which a test steers the driver. Shared by the driver (C)
// and the bench (C++); little-endian, no padding beyond what is named.
#ifndef TESTS_KERNEL_DRIVER_BENCH_PROTOCOL_H_
#define TESTS_KERNEL_DRIVER_BENCH_PROTOCOL_H_

#include <stdint.h>

#define BENCH_DEVICE_NAME L"\\\\.\\ZVfsBench"

// Device type 0x8000, any access, buffered method.
#define BENCH_CODE(function) ((0x8000u << 16) | ((0x800u + (function)) << 2))
#define BENCH_CREATE_DRIVE BENCH_CODE(1)  // in: DOS device name, 520 bytes
#define BENCH_REMOVE_DRIVE BENCH_CODE(2)
#define BENCH_SUBMIT BENCH_CODE(3)  // in: BenchSubmit and the block; out: BenchResult and the data
#define BENCH_SCRIPT BENCH_CODE(4)  // in: BenchScript
#define BENCH_STATE BENCH_CODE(5)   // out: BenchState
#define BENCH_CALLS BENCH_CODE(6)   // out: BenchCall entries, oldest first, as many as fit

#define BENCH_NAME_UNITS 260
#define BENCH_RECORD_SIZE 1112
#define BENCH_REPLY_SIZE 584  // the largest reply record
#define BENCH_KEPT_CALLS 1024
#define BENCH_COUNTED_CODES 32

// Waits until the request has ended.
typedef struct BenchSubmit {
  uint32_t queue;
  uint32_t block_size;
  uint8_t record[BENCH_RECORD_SIZE];
} BenchSubmit;

typedef struct BenchResult {
  uint32_t outcome;
  uint32_t code;
  uint32_t record_size;
  uint32_t data_size;
  uint32_t copy_failed;
  uint32_t reserved;
  uint8_t record[BENCH_REPLY_SIZE];
} BenchResult;

enum BenchOutcome { kBenchReplied = 0, kBenchNoReply = 1, kBenchWorkerGone = 2 };

enum BenchScriptKind {
  kBenchEndPolling = 0,
  kBenchFailFetches = 1,
  kBenchRefuseReplies = 2,
  kBenchRefuseCreate = 3,
  kBenchRefuseDelete = 4,
  kBenchHideControl = 5
};

typedef struct BenchScript {
  uint32_t kind;
  uint32_t queue;
  uint32_t value;
} BenchScript;

typedef struct BenchUse {
  uint32_t opens;
  uint32_t open_now;
} BenchUse;

typedef struct BenchState {
  uint16_t drive[BENCH_NAME_UNITS];  // local name, empty when there is no drive
  uint32_t waiting[2];               // fetches that wait, by queue
  BenchUse use[2];                   // control device, drive device
  struct {
    uint32_t code;
    uint32_t count;
  } calls[BENCH_COUNTED_CODES];
} BenchState;

typedef struct BenchCall {
  uint32_t device;
  uint32_t code;
  uint32_t input_size;
  uint32_t output_size;
  uint32_t accepted;
  uint8_t input[BENCH_RECORD_SIZE];
} BenchCall;

#endif  // TESTS_KERNEL_DRIVER_BENCH_PROTOCOL_H_
