// A drive over a played worker.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "apps/zvdrive/drive/virtual_drive.h"
#include "tests/apps/fake_worker.h"

namespace zv::testing {

// Walks that stay fresh for the whole test, and walks that never do.
inline constexpr std::chrono::hours kLongLifetime{24};
inline constexpr std::chrono::milliseconds kNoLifetime{-1};
inline constexpr TextView kProcess = u"editor";

inline std::span<const std::byte> BytesOf(std::string_view text) {
  return std::as_bytes(std::span(text));
}

// Bytes that differ from place to place.
inline std::string Pattern(size_t size, unsigned seed = 1) {
  std::string text(size, '\0');
  unsigned state = seed;
  for (char& c : text) {
    state = state * 1664525U + 1013904223U;
    c = static_cast<char>(state >> 24);
  }
  return text;
}

class DriveTest : public ::testing::Test {
 protected:
  explicit DriveTest(std::chrono::milliseconds walk_lifetime = kLongLifetime)
      : DriveTest(DriveOptions{.drive_letter = u"Z:", .walk_lifetime = walk_lifetime}) {}
  explicit DriveTest(DriveOptions options) : drive_(worker_, worker_, std::move(options)) {}

  FileHandle OpenFileAt(TextView path) {
    const auto opened = drive_.Open(path, false);
    EXPECT_EQ(opened.error, DriveError::kNone);
    return opened.value.file;
  }
  FileHandle CreateFileAt(TextView path) {
    const auto opened = drive_.Create(path);
    EXPECT_EQ(opened.error, DriveError::kNone);
    return opened.value.file;
  }
  DriveError WriteTo(const FileHandle& file, int64_t offset, std::string_view data) {
    return drive_.Write(*file, offset, BytesOf(data));
  }
  DriveError CloseFile(const FileHandle& file) { return drive_.Close(file, kProcess); }
  void WriteFile(TextView path, std::string_view content) {
    const FileHandle file = CreateFileAt(path);
    EXPECT_EQ(WriteTo(file, 0, content), DriveError::kNone);
    EXPECT_EQ(CloseFile(file), DriveError::kNone);
  }
  // Up to `size` bytes from the offset; a text that is no content when the read fails.
  std::string ReadFrom(const FileHandle& file, int64_t offset, size_t size) {
    std::string data(size, '\0');
    size_t done = 0;
    while (done < size) {
      const auto count = drive_.Read(*file, offset + static_cast<int64_t>(done),
                                     std::as_writable_bytes(std::span(data)).subspan(done));
      if (!count) return "(the read failed)";
      if (count.value == 0) break;
      done += count.value;
    }
    data.resize(done);
    return data;
  }
  std::vector<Text> NamesIn(TextView folder) {
    const auto nodes = drive_.List(folder);
    EXPECT_EQ(nodes.error, DriveError::kNone);
    std::vector<Text> names;
    for (const NamedNode& node : nodes.value) names.push_back(node.name);
    return names;
  }

  FakeWorker worker_;
  VirtualDrive drive_;
};

}  // namespace zv::testing
