#include "platform/shared_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <new>
#include <string>

#include "platform/home.h"
#include "platform/posix/home_change.h"
#include "platform/posix/unique_fd.h"
#include "platform/shared_memory_testing.h"

namespace zv {
namespace {

uint64_t Fnv1a(const std::string& bytes) {
  uint64_t hash = 0xCBF29CE484222325;
  for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return hash;
}

// One block for each user and home.
std::string BlockName() {
  char name[64];
  std::snprintf(name, sizeof name, "/zvworker-%lu-%016llx", static_cast<unsigned long>(geteuid()),
                static_cast<unsigned long long>(Fnv1a(HomeFolder())));
  return name;
}

// The block's descriptor, as large as it must be; -1 when it cannot be had or is another user's.
// Two processes may do this at once: growing a block to its size changes no byte of it.
UniqueFd OpenBlock() {
  UniqueFd block(shm_open(BlockName().c_str(), O_RDWR | O_CREAT, 0600));
  struct stat info;
  if (block.get() < 0 || fstat(block.get(), &info) != 0 || info.st_uid != geteuid()) return {};
  const bool too_small = info.st_size < static_cast<off_t>(kSharedMemorySize);
  if (too_small && ftruncate(block.get(), kSharedMemorySize) != 0) return {};
  return block;
}

// Maps the current home's block at the address, or anywhere when it is null.
void* MapBlock(void* address) {
  constexpr int kRights = PROT_READ | PROT_WRITE;
  const int fixed = address ? MAP_FIXED : 0;
  const UniqueFd block = OpenBlock();
  void* mapped = MAP_FAILED;
  if (block.get() >= 0) {
    mapped = mmap(address, kSharedMemorySize, kRights, MAP_SHARED | fixed, block.get(), 0);
  }
  if (mapped == MAP_FAILED) {
    mapped = mmap(address, kSharedMemorySize, kRights, MAP_PRIVATE | MAP_ANONYMOUS | fixed, -1, 0);
  }
  if (mapped == MAP_FAILED) throw std::bad_alloc();
  return mapped;
}

}  // namespace

void* SharedMemory() {
  static void* const address = [] {
    void* const mapped = MapBlock(nullptr);
    // Another home's block takes the place of this one at the same address.
    OnHomeChange([mapped] { MapBlock(mapped); });
    return mapped;
  }();
  return address;
}

namespace testing {

void RemoveSharedMemory() { shm_unlink(BlockName().c_str()); }

}  // namespace testing
}  // namespace zv
