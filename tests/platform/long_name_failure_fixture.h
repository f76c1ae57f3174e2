// Long names whose true name cannot be kept.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/error.h"
#include "platform/file.h"
#include "tests/platform/test_folder.h"

namespace zv::testing {

class LongNameFailureTest : public ::testing::Test {
 protected:
  LongNameFailureTest() {
    File::Open(folder_ / u"short", Access::kWrite, Disposition::kCreateAlways).Write("1");
  }

  // Each way in which a file or folder of that name comes to be fails with this error.
  void ExpectNothingIsMade(uint32_t error) {
    const Text target = folder_ / long_name_;
    EXPECT_FALSE(File::Open(target, Access::kWrite, Disposition::kCreateAlways));
    EXPECT_EQ(TakeLastError(), error);
    EXPECT_FALSE(File::Open(target, Access::kReadWrite, Disposition::kOpenAlways));
    EXPECT_EQ(TakeLastError(), error);
    EXPECT_FALSE(MoveToNew(folder_ / u"short", target));
    EXPECT_EQ(TakeLastError(), error);
    EXPECT_FALSE(MoveOver(folder_ / u"short", target));
    EXPECT_EQ(TakeLastError(), error);
    EXPECT_FALSE(CopyOver(folder_ / u"short", target));
    EXPECT_EQ(TakeLastError(), error);
    EXPECT_FALSE(MakeFolders(target));
    EXPECT_EQ(TakeLastError(), error);
    EXPECT_FALSE(FileExists(target));
    EXPECT_TRUE(FileExists(folder_ / u"short"));
  }
  // So that an error that was told before does not pass for a new one.
  static uint32_t TakeLastError() {
    const uint32_t error = LastError();
    SetLastError(0);
    return error;
  }
  // What the folder of true names holds beside its lock.
  std::vector<std::string> TrueNames() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(true_names_)) {
      if (entry.path().filename() != "lock") names.push_back(entry.path().filename().string());
    }
    return names;
  }

  TestFolder folder_;
  const std::filesystem::path true_names_ = folder_.native() / ".zvnames";
  const Text long_name_ = u"file#ZV#" + Text(400, u'\u4E2D') + u"#Ende#";
};

}  // namespace zv::testing
