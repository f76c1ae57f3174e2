// The worker's own memory that one transfer step's data passes through.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace zv {

class TransferBuffer {
 public:
  enum class Content {
    kZeros,
    kAny,  // whoever reads it has been told how much was filled in
  };

  // Lack of memory is no failure: the buffer is then absent.
  TransferBuffer(uint32_t size, Content content);

  explicit operator bool() const { return bytes_ != nullptr; }
  std::byte* data() const { return bytes_.get(); }
  // What a reply record carries; 0 when absent.
  uint64_t address() const { return reinterpret_cast<uintptr_t>(bytes_.get()); }

 private:
  struct Free {
    void operator()(std::byte* bytes) const { std::free(bytes); }
  };
  // Zeros are the system's own pages: a step that asks for much and gets little touches only what
  // it gets.
  std::unique_ptr<std::byte, Free> bytes_;
};

}  // namespace zv
