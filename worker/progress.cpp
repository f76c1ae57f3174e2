#include "worker/progress.h"

#include <algorithm>
#include <atomic>

#include "platform/clock.h"

namespace zv {
namespace {

// Other processes and threads read and write the same bytes at any time.
template <typename T>
void Put(T& field, T value) {
  std::atomic_ref(field).store(value, std::memory_order_relaxed);
}
template <typename T>
T Get(T& field) {
  return std::atomic_ref(field).load(std::memory_order_relaxed);
}

constexpr size_t kNameUnits = std::size(ProgressRecord{}.name);

ProgressRecord& Record() { return GetSharedBlock().progress; }

void PutName(TextView name) {
  const size_t count = std::min(name.size(), kNameUnits - 1);
  for (size_t i = 0; i < count; ++i) Put(Record().name[i], name[i]);
  Put(Record().name[count], u'\0');
}

// Into room for kNameUnits, the terminator included.
void CopyName(char16_t* name) {
  const ProgressRecord& record = Record();
  char16_t* const last = name + kNameUnits - 1;
  for (const char16_t* unit = record.name; name < last; ++unit, ++name) {
    *name = Get(*unit);
    if (*name == u'\0') return;
  }
  *last = u'\0';
}

}  // namespace

bool SetProgressDetails(TransferKind kind, TextView name, uint32_t first_count,
                        uint32_t second_count, int64_t start_time) {
  ProgressRecord& record = Record();
  PutName(name);
  Put(record.first_count, first_count);
  Put(record.second_count, second_count);
  Put(record.elapsed_seconds, static_cast<uint32_t>(UnixTime() - start_time));
  Put(record.kind, static_cast<int16_t>(kind));
  uint8_t asked = 1;
  return std::atomic_ref(record.cancel_request)
      .compare_exchange_strong(asked, 0, std::memory_order_relaxed);
}

bool PublishIdle() { return SetProgressDetails(TransferKind::kIdle, {}, 0, 0, 0); }

void ClearCancelRequest() { Put(Record().cancel_request, uint8_t{0}); }

int32_t ReadProgressDetails(char16_t* name, uint32_t* first_count, uint32_t* second_count,
                            uint32_t* elapsed_seconds, uint16_t mode) {
  constexpr uint16_t kCancelMode = 1;
  ProgressRecord& record = Record();
  if (name && mode != kCancelMode) CopyName(name);
  if (first_count) *first_count = Get(record.first_count);
  if (second_count) *second_count = Get(record.second_count);
  if (elapsed_seconds) *elapsed_seconds = Get(record.elapsed_seconds);
  if (name && mode == kCancelMode) {
    try {
      const TextView wanted(name, std::find(name, name + kNameUnits, u'\0'));
      char16_t current[kNameUnits];
      CopyName(current);
      if (EqualsNoCase(wanted, current)) Put(record.cancel_request, uint8_t{1});
    } catch (...) {
      return 0;  // no memory to compare the names
    }
  }
  return Get(record.kind);
}

void ResetProgress() {
  ProgressRecord& record = Record();
  for (char16_t& unit : record.name) Put(unit, u'\0');
  Put(record.first_count, 0U);
  Put(record.second_count, 0U);
  Put(record.elapsed_seconds, 0U);
  Put(record.kind, int16_t{0});
  Put(record.cancel_request, uint8_t{0});
  Put(record.padding, uint8_t{0});
}

void SetUsedSpaceMib(uint64_t mebibytes) { Put(GetSharedBlock().used_space_mib, mebibytes); }
uint64_t UsedSpaceMib() { return Get(GetSharedBlock().used_space_mib); }
uint64_t GetUsedSpaceBytes() { return UsedSpaceMib() << 20; }

}  // namespace zv
