#include "worker/progress.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>

#include "platform/clock.h"
#include "platform/clock_testing.h"
#include "tests/support/test_home.h"

namespace zv {
namespace {

constexpr uint16_t kCancelMode = 1;

// What a reader of the record gets; names that are not written keep their "?".
struct Reading {
  explicit Reading(uint16_t mode = 0) {
    std::fill(std::begin(name), std::end(name), u'?');
    kind = ReadProgressDetails(name, &first, &second, &elapsed, mode);
  }
  Text Name() const { return Text(name); }

  char16_t name[260];
  uint32_t first = 99, second = 99, elapsed = 99;
  int32_t kind = 99;
};

int32_t AskToCancel(Text name) {
  name.resize(260);
  return ReadProgressDetails(name.data(), nullptr, nullptr, nullptr, kCancelMode);
}

class Progress : public testing::HomeTest {
 protected:
  Progress() {
    ResetProgress();
    SetUsedSpaceMib(0);
  }
};

TEST_F(Progress, RecordStandsBehindSixteenBytes) {
  const auto* bytes = reinterpret_cast<const char*>(&GetSharedBlock());
  SetUsedSpaceMib(0x1122334455667788);
  const testing::VirtualClock clock(ToFileTime(FromUnix(1000)));
  SetProgressDetails(TransferKind::kUpload, u"/a", 0x01020304, 0x05060708, 900);
  uint64_t used = 0;
  std::memcpy(&used, bytes, sizeof used);
  EXPECT_EQ(used, 0x1122334455667788u);
  EXPECT_EQ(std::string(bytes + 16, 6), std::string("/\0a\0\0\0", 6));
  EXPECT_EQ(std::string(bytes + 16 + 520, 16),
            std::string("\4\3\2\1\x08\7\6\5\x64\0\0\0\1\0\0\0", 16));
}

TEST_F(Progress, ReaderSeesWhatWasPublished) {
  const testing::VirtualClock clock(ToFileTime(FromUnix(1'000'000)));
  EXPECT_FALSE(SetProgressDetails(TransferKind::kDownload, u"/Docs/a.txt", 10, 200, 999'993));
  const Reading reading;
  EXPECT_EQ(reading.kind, 2);
  EXPECT_EQ(reading.Name(), u"/Docs/a.txt");
  EXPECT_EQ(reading.first, 10u);
  EXPECT_EQ(reading.second, 200u);
  EXPECT_EQ(reading.elapsed, 7u);
}

TEST_F(Progress, EveryPointerMayBeMissing) {
  SetProgressDetails(TransferKind::kUpload, u"/a", 1, 2, UnixTime());
  EXPECT_EQ(ReadProgressDetails(nullptr, nullptr, nullptr, nullptr, 0), 1);
  EXPECT_EQ(ReadProgressDetails(nullptr, nullptr, nullptr, nullptr, kCancelMode), 1);
}

TEST_F(Progress, NameIsCutAt259Units) {
  SetProgressDetails(TransferKind::kUpload, Text(300, u'x'), 1, 2, UnixTime());
  EXPECT_EQ(Reading().Name(), Text(259, u'x'));
}

TEST_F(Progress, NameWithoutATerminatorIsReadAt259Units) {
  std::fill(std::begin(GetSharedBlock().progress.name), std::end(GetSharedBlock().progress.name),
            u'y');
  EXPECT_EQ(Reading().Name(), Text(259, u'y'));
}

TEST_F(Progress, CancelReachesTheNamedTransferOnce) {
  SetProgressDetails(TransferKind::kDownload, u"/Docs/a.txt", 1, 2, UnixTime());
  EXPECT_EQ(AskToCancel(u"/DOCS/A.txt"), 2);
  EXPECT_EQ(GetSharedBlock().progress.cancel_request, 1);
  EXPECT_TRUE(SetProgressDetails(TransferKind::kDownload, u"/Docs/a.txt", 2, 2, UnixTime()));
  EXPECT_FALSE(SetProgressDetails(TransferKind::kDownload, u"/Docs/a.txt", 2, 2, UnixTime()));
}

TEST_F(Progress, CancelOfAnotherNameChangesNothing) {
  SetProgressDetails(TransferKind::kDownload, u"/Docs/a.txt", 1, 2, UnixTime());
  EXPECT_EQ(AskToCancel(u"/Docs/b.txt"), 2);
  EXPECT_EQ(AskToCancel(u"/Docs/a.tx"), 2);
  EXPECT_EQ(GetSharedBlock().progress.cancel_request, 0);
}

TEST_F(Progress, CancelKeepsAnEarlierOne) {
  SetProgressDetails(TransferKind::kDownload, u"/a", 1, 2, UnixTime());
  AskToCancel(u"/a");
  AskToCancel(u"/b");
  EXPECT_EQ(GetSharedBlock().progress.cancel_request, 1);
}

TEST_F(Progress, OnlyAOneAsksForACancel) {
  GetSharedBlock().progress.cancel_request = 2;
  EXPECT_FALSE(SetProgressDetails(TransferKind::kDownload, u"/a", 1, 2, UnixTime()));
  EXPECT_EQ(GetSharedBlock().progress.cancel_request, 2);
}

TEST_F(Progress, CancelNeverWritesTheName) {
  SetProgressDetails(TransferKind::kDownload, u"/a", 11, 22, UnixTime());
  Text name = u"/other";
  name.resize(260);
  const Text before = name;
  uint32_t first = 0, second = 0;
  EXPECT_EQ(ReadProgressDetails(name.data(), &first, &second, nullptr, kCancelMode), 2);
  EXPECT_EQ(name, before);
  EXPECT_EQ(first, 11u);
  EXPECT_EQ(second, 22u);
}

TEST_F(Progress, CancelledNameWithoutATerminatorEndsAt260Units) {
  SetProgressDetails(TransferKind::kDownload, Text(259, u'x'), 1, 2, UnixTime());
  const std::u16string name(260, u'x');
  EXPECT_EQ(ReadProgressDetails(const_cast<char16_t*>(name.data()), nullptr, nullptr, nullptr,
                                kCancelMode),
            2);
  EXPECT_EQ(GetSharedBlock().progress.cancel_request, 0);
}

TEST_F(Progress, ClearForgetsACancel) {
  SetProgressDetails(TransferKind::kDownload, u"/a", 1, 2, UnixTime());
  AskToCancel(u"/a");
  ClearCancelRequest();
  EXPECT_FALSE(SetProgressDetails(TransferKind::kDownload, u"/a", 2, 2, UnixTime()));
}

TEST_F(Progress, IdleHasNoNameAndNoCounts) {
  SetProgressDetails(TransferKind::kUpload, u"/a", 1, 2, UnixTime());
  PublishIdle();
  const Reading reading;
  EXPECT_EQ(reading.kind, 0);
  EXPECT_EQ(reading.Name(), u"");
  EXPECT_EQ(reading.first, 0u);
  EXPECT_EQ(reading.second, 0u);
}

TEST_F(Progress, ResetZeroesTheWholeRecord) {
  SetProgressDetails(TransferKind::kUpload, Text(259, u'x'), 1, 2, 0);
  AskToCancel(Text(259, u'x'));
  SetUsedSpaceMib(4);
  ResetProgress();
  const ProgressRecord zeros{};
  EXPECT_EQ(std::memcmp(&GetSharedBlock().progress, &zeros, sizeof zeros), 0);
  const Reading reading;
  EXPECT_EQ(reading.kind, 0);
  EXPECT_EQ(reading.elapsed, 0u);
  EXPECT_EQ(UsedSpaceMib(), 4u) << "the used space is not part of it";
}

TEST_F(Progress, UnknownKindIsSignExtended) {
  GetSharedBlock().progress.kind = -2;
  EXPECT_EQ(Reading().kind, -2);
}

TEST_F(Progress, UsedSpaceIsInMebibytes) {
  EXPECT_EQ(GetUsedSpaceBytes(), 0u);
  SetUsedSpaceMib(3);
  EXPECT_EQ(GetUsedSpaceBytes(), 3'145'728u);
  SetUsedSpaceMib(10'000'000);
  EXPECT_EQ(GetUsedSpaceBytes(), 10'485'760'000'000u);
}

}  // namespace
}  // namespace zv
