// A bench for each test, and the records that its tests submit.
#ifndef TESTS_KERNEL_DRIVER_DRIVER_BENCH_FIXTURE_H_
#define TESTS_KERNEL_DRIVER_DRIVER_BENCH_FIXTURE_H_

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <future>
#include <string_view>

#include "tests/kernel_driver/fake_worker.h"

namespace zv::testing {

inline std::span<const std::byte> BytesOf(const RequestRecord& record) {
  return std::as_bytes(std::span(&record, 1));
}

inline RequestRecord Request(MajorCode major, std::uint32_t length = 0) {
  RequestRecord record;
  record.major = static_cast<std::uint32_t>(major);
  record.length_or_index = length;
  return record;
}

inline std::vector<std::byte> Pattern(std::size_t size) {
  std::vector<std::byte> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::byte>(i * 7 + i / 251);
  return bytes;
}

inline std::array<char16_t, 260> DosName(std::u16string_view name) {
  std::array<char16_t, 260> field = {};
  std::copy(name.begin(), name.end(), field.begin());
  return field;
}

class DriverBenchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bench_ = DriverBench::Create();
    ASSERT_NE(bench_, nullptr);
  }

  bool AskForDrive(std::u16string_view dos_name, std::size_t in = 520, std::size_t out = 255) {
    const auto name = DosName(dos_name);
    std::array<char, 520> answer = {};
    return WorkerHandle::Control().Call(IOCTL_CREATE_DRIVE, name.data(), in, answer.data(), out);
  }

  std::future<SubmitResult> Submit(RequestQueue queue, const RequestRecord& record,
                                   std::vector<std::byte> block = {},
                                   std::chrono::milliseconds patience = DriverBench::kPatience) {
    return std::async(std::launch::async, [=, this] {
      return bench_->Submit(queue, BytesOf(record), block, patience);
    });
  }

  std::unique_ptr<DriverBench> bench_;
};

class DriverBenchWithDrive : public DriverBenchTest {
 protected:
  void SetUp() override {
    DriverBenchTest::SetUp();
    ASSERT_TRUE(bench_->CreateDrive(u"Y:"));
    drive_.emplace(WorkerHandle::Drive());
    ASSERT_TRUE(drive_->IsOpen());
  }

  std::optional<WorkerHandle> drive_;
};

}  // namespace zv::testing

#endif  // TESTS_KERNEL_DRIVER_DRIVER_BENCH_FIXTURE_H_
