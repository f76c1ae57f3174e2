// The platform's find-data record, as callers of the library pass it: 592 bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zv {

struct FindData {
  uint32_t attributes = 0;
  uint32_t creation_time[2] = {};  // low, high
  uint32_t last_access_time[2] = {};
  uint32_t last_write_time[2] = {};
  uint32_t size_high = 0;
  uint32_t size_low = 0;
  uint32_t reserved[2] = {};
  char16_t name[260] = {};
  char16_t alternate_name[14] = {};
};
static_assert(sizeof(FindData) == 592);
static_assert(offsetof(FindData, last_write_time) == 20);
static_assert(offsetof(FindData, size_low) == 32);
static_assert(offsetof(FindData, name) == 44);

inline constexpr uint32_t kAttributeDirectory = 0x10;

}  // namespace zv
