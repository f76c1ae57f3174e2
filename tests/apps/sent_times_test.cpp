#include "apps/zvdrive/drive/sent_times.h"

#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

constexpr Seconds1601 kFirst{13'000'000'100};
constexpr Seconds1601 kLast{13'000'000'102};
constexpr Seconds1601 kServer{13'000'000'090};

class SentTimesTest : public ::testing::Test {
 protected:
  SentTimesTest() { times_.Note(u"\\a", kFirst, kLast, kServer); }
  // What becomes of a time that the worker tells.
  int64_t Corrected(TextView path, int64_t told, bool is_folder = false) {
    NodeInfo info{.is_folder = is_folder, .size = 0, .created = {told}, .modified = {told}};
    times_.Correct(path, info);
    EXPECT_EQ(info.created.value, told);
    return info.modified.value;
  }
  SentTimes times_;
};

TEST_F(SentTimesTest, ATimeOfTheSendingBecomesTheServers) {
  for (int64_t told = kFirst.value; told <= kLast.value; ++told) {
    EXPECT_EQ(Corrected(u"\\a", told), kServer.value);
  }
}

TEST_F(SentTimesTest, AnyOtherTimeCountsAndEndsTheMatter) {
  EXPECT_EQ(Corrected(u"\\a", kFirst.value - 1), kFirst.value - 1);
  EXPECT_EQ(Corrected(u"\\a", kFirst.value), kFirst.value);
}

TEST_F(SentTimesTest, OtherFilesAndFoldersKeepTheirTimes) {
  EXPECT_EQ(Corrected(u"\\b", kFirst.value), kFirst.value);
  EXPECT_EQ(Corrected(u"\\a", kFirst.value, true), kFirst.value);
}

TEST_F(SentTimesTest, GoesAlongWithARenameAndWithItsFolders) {
  times_.Move(u"\\a", u"\\d\\b");
  EXPECT_EQ(Corrected(u"\\a", kFirst.value), kFirst.value);
  times_.Move(u"\\d", u"\\e");
  EXPECT_EQ(Corrected(u"\\e\\b", kFirst.value), kServer.value);
}

TEST_F(SentTimesTest, IsForgottenWithItsFileAndWithWhatARenameReplaces) {
  times_.Note(u"\\d\\b", kFirst, kLast, kServer);
  times_.Forget(u"\\d");
  EXPECT_EQ(Corrected(u"\\d\\b", kFirst.value), kFirst.value);
  times_.Move(u"\\other", u"\\a");
  EXPECT_EQ(Corrected(u"\\a", kFirst.value), kFirst.value);
}

class TimeTest : public DriveTest {};

TEST_F(TimeTest, AFileThatWasSentHasTheServersTimeFromItsCloseOn) {
  worker_.PretendContentTime(kServer);
  WriteFile(u"\\a", "x");
  EXPECT_EQ(drive_.Look(u"\\a").value.modified.value, kServer.value);
  const auto nodes = drive_.List(u"\\");
  ASSERT_EQ(nodes.value.size(), 1u);
  EXPECT_EQ(nodes.value[0].info.modified.value, kServer.value);
}

}  // namespace
}  // namespace zv::testing
