// Memory for one block of a write. From who receives its bytes to who stores them the block itself
// is handed on: copying a block takes about as long as storing it.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <span>

namespace zv {

inline constexpr size_t kLargestBlock = 1 << 20;  // bytes of one transfer step
// Writes of this many bytes or more come from a program that copies a file: those that follow each
// other are handed on together. Smaller ones are stored one by one, so that they outlive this
// process.
inline constexpr size_t kLeastGathered = 65536;

class WriteBlock {
 public:
  std::span<std::byte> memory() const { return {memory_.get(), kLargestBlock}; }
  std::span<const std::byte> bytes() const { return memory().first(size_); }

  // The first bytes of the memory are what was written.
  void SetSize(size_t size) { size_ = size; }
  // The caller sees to it that they fit.
  void Append(std::span<const std::byte> bytes) {
    std::memcpy(memory_.get() + size_, bytes.data(), bytes.size());
    size_ += bytes.size();
  }

 private:
  // The kernel copies whole pages best.
  static constexpr std::align_val_t kAlignment{4096};
  struct Free {
    void operator()(std::byte* bytes) const { ::operator delete(bytes, kAlignment); }
  };
  std::unique_ptr<std::byte, Free> memory_{
      static_cast<std::byte*>(::operator new(kLargestBlock, kAlignment))};
  size_t size_ = 0;
};

// Whoever has a share may read it, until its row has ended as stored; then it may be filled again.
using WriteBlockPtr = std::shared_ptr<WriteBlock>;

// What a program writes: bytes that are the caller's, or the block that they came in. That may be
// handed on as it is; then another one, or none, is left in its place.
struct Written {
  Written(std::span<const std::byte> these) : bytes(these) {}
  Written(WriteBlockPtr& whole) : bytes(whole->bytes()), block(&whole) {}

  std::span<const std::byte> bytes;
  WriteBlockPtr* block = nullptr;
};

}  // namespace zv
