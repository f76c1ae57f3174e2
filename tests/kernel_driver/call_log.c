// What arrived from workers: the last calls with their input, and a count for each control code.
#include "zvfs.h"

static BenchCall* calls;
static ULONG next_call;  // counts on; the place is its remainder
static BenchState counts;

NTSTATUS StartCallLog(void) {
  calls = (BenchCall*)AllocateZeroed(BENCH_KEPT_CALLS * sizeof(BenchCall));
  return calls != NULL ? STATUS_SUCCESS : STATUS_INSUFFICIENT_RESOURCES;
}

void StopCallLog(void) { ExFreePoolWithTag(calls, ZVFS_TAG); }

// Codes beyond the table's end are kept in the log only.
static void CountCall(ULONG code) {
  for (ULONG i = 0; i < BENCH_COUNTED_CODES; ++i) {
    if (counts.calls[i].count == 0) counts.calls[i].code = code;
    if (counts.calls[i].code == code) {
      ++counts.calls[i].count;
      return;
    }
  }
}

BenchCall* LogCall(const Device* device, ULONG code, const void* input, ULONG input_size,
                   ULONG output_size) {
  BenchCall* call = &calls[next_call++ % BENCH_KEPT_CALLS];
  RtlZeroMemory(call, sizeof(*call));
  call->device = device->kind;
  call->code = code;
  call->input_size = input_size;
  call->output_size = output_size;
  ULONG kept = input_size < sizeof(call->input) ? input_size : (ULONG)sizeof(call->input);
  if (kept > 0) RtlCopyMemory(call->input, input, kept);
  CountCall(code);
  return call;
}

ULONG CopyCalls(BenchCall* out, ULONG room) {
  ULONG kept = next_call < BENCH_KEPT_CALLS ? next_call : BENCH_KEPT_CALLS;
  if (kept > room) kept = room;
  for (ULONG i = 0; i < kept; ++i) out[i] = calls[(next_call - kept + i) % BENCH_KEPT_CALLS];
  return kept;
}

void CopyCallCounts(BenchState* state) {
  RtlCopyMemory(state->calls, counts.calls, sizeof(state->calls));
}
