// The driver's requests as records: what is asked, and what each answer means.
#include "apps/zvdrive/drive/drive_requests.h"

#include "tests/apps/drive_fixture.h"
#include "tests/apps/plain_channel.h"

namespace zv::testing {
namespace {

class DriveRequestsTest : public ::testing::Test {
 protected:
  DriveError WriteTo(TextView path, int64_t offset, std::string_view data, bool begin) {
    return requests_.Write(path, offset, BytesOf(data), begin);
  }
  std::string Sent(TextView path) {
    EXPECT_EQ(requests_.Complete(path, kProcess, {}), DriveError::kNone);
    return worker_.ServerFile(path).value_or("(nothing on the server)");
  }

  FakeWorker worker_;
  DriveRequests requests_{worker_};
};

TEST_F(DriveRequestsTest, AWalkAsksOneIndexAfterTheOtherForAPathWithATrailingSeparator) {
  worker_.PutFolder(u"\\Docs");
  worker_.PutFile(u"\\Docs\\a", "1");
  const auto nodes = requests_.Walk(u"\\Docs");
  ASSERT_TRUE(nodes);
  ASSERT_EQ(nodes.value.size(), 1u);
  EXPECT_EQ(nodes.value[0].name, u"a");
  EXPECT_EQ(nodes.value[0].info.size, 1);
  EXPECT_FALSE(nodes.value[0].info.is_folder);
  const auto log = worker_.Log();
  ASSERT_EQ(log.size(), 4u);  // ".", "..", "a" and the end
  for (uint32_t i = 0; i < 4; ++i) {
    EXPECT_EQ(log[i].major, MajorCode::kDirectory);
    EXPECT_EQ(log[i].queue, DriveQueue::kInfo);
    EXPECT_EQ(log[i].path, u"\\Docs\\");
    EXPECT_EQ(log[i].length, i + 1);
  }
}

TEST_F(DriveRequestsTest, AWalkOfTheRootAsksForOneSeparator) {
  ASSERT_TRUE(requests_.Walk(u"\\"));
  EXPECT_EQ(worker_.Log().front().path, u"\\");
}

TEST_F(DriveRequestsTest, AnEmptyFolderIsAWalkOfNothing) {
  worker_.PutFolder(u"\\e");
  const auto nodes = requests_.Walk(u"\\e");
  ASSERT_TRUE(nodes);
  EXPECT_TRUE(nodes.value.empty());
}

TEST_F(DriveRequestsTest, AWalkThatDoesNotYieldItselfFailed) {
  worker_.FailWalks(true);
  EXPECT_EQ(requests_.Walk(u"\\").error, DriveError::kIo);
}

TEST_F(DriveRequestsTest, AWalkWhoseReplyIsLostInItsMidstFailed) {
  worker_.PutFile(u"\\a", "");
  worker_.LoseReplies([](const AskedRequest& asked) { return asked.length == 3; });
  EXPECT_EQ(requests_.Walk(u"\\").error, DriveError::kIo);
}

TEST_F(DriveRequestsTest, AQueryCannotTellAbsentFromFailed) {
  worker_.PutFile(u"\\a", "123");
  ASSERT_TRUE(requests_.QueryInfo(u"\\a"));
  EXPECT_EQ(requests_.QueryInfo(u"\\a")->size, 3);
  EXPECT_FALSE(requests_.QueryInfo(u"\\b"));
  worker_.FailQueries(true);
  EXPECT_FALSE(requests_.QueryInfo(u"\\a"));
  worker_.FailQueries(false);
  worker_.LoseReplies(OfMajor(MajorCode::kQueryInfo));
  EXPECT_FALSE(requests_.QueryInfo(u"\\a"));
}

TEST_F(DriveRequestsTest, TheVolumeIsInMebibytes) {
  const auto volume = requests_.Volume();
  ASSERT_TRUE(volume);
  EXPECT_EQ(volume.value.quota_mib, 2048);
  EXPECT_EQ(volume.value.used_mib, 7);
  worker_.RefuseNamespaceChanges(true);
  EXPECT_EQ(requests_.Volume().error, DriveError::kIo);
}

TEST_F(DriveRequestsTest, ABlockIsFollowedByAnEmptyOneThatAsksWhetherItWasStored) {
  EXPECT_EQ(WriteTo(u"\\a", 0, "abc", true), DriveError::kNone);
  const auto log = worker_.Log();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].queue, DriveQueue::kTransfer);
  EXPECT_EQ(log[0].length, 3u);
  EXPECT_TRUE(log[0].force);
  EXPECT_EQ(log[1].minor, MinorCode::kCacheBackup);
  EXPECT_EQ(log[1].length, 0u);
  EXPECT_FALSE(log[1].force);
}

TEST_F(DriveRequestsTest, ABlockThatWasNotStoredIsSentAgain) {
  EXPECT_EQ(WriteTo(u"\\a", 0, "abc", true), DriveError::kNone);
  worker_.FailNextBlocks(1);
  EXPECT_EQ(WriteTo(u"\\a", 3, "def", false), DriveError::kNone);
  EXPECT_EQ(WriteTo(u"\\a", 6, "ghi", false), DriveError::kNone);
  EXPECT_EQ(Sent(u"\\a"), "abcdefghi");
}

TEST_F(DriveRequestsTest, ABlockThatMeetsTheFailureOfAnEarlierOneIsSentAgain) {
  worker_.SetLatch();
  EXPECT_EQ(WriteTo(u"\\a", 0, "abc", true), DriveError::kNone);
  EXPECT_EQ(worker_.Count([](const AskedRequest& asked) { return asked.length == 3; }), 2u);
  EXPECT_EQ(Sent(u"\\a"), "abc");
}

TEST_F(DriveRequestsTest, ABlockThatIsNeverStoredIsAnError) {
  worker_.FailStoring([](const AskedRequest&) { return true; });
  EXPECT_EQ(WriteTo(u"\\a", 0, "abc", true), DriveError::kIo);
  EXPECT_FALSE(worker_.IsCached(u"\\a"));
}

TEST_F(DriveRequestsTest, ABlockWithoutAReplyIsAnError) {
  worker_.LoseReplies(OfMinor(MinorCode::kCacheBackup));
  EXPECT_EQ(WriteTo(u"\\a", 0, "abc", true), DriveError::kIo);
}

TEST_F(DriveRequestsTest, ABlockWhoseConfirmationIsLostIsAnError) {
  worker_.LoseReplies([](const AskedRequest& asked) { return asked.length == 0; });
  EXPECT_EQ(WriteTo(u"\\a", 0, "abc", true), DriveError::kIo);
}

TEST_F(DriveRequestsTest, AReadGivesTheCountThatCame) {
  worker_.PutFile(u"\\a", Pattern(100));
  std::vector<std::byte> into(60);
  EXPECT_EQ(requests_.Read(u"\\a", 60, into).value, 40u);
  EXPECT_EQ(requests_.Read(u"\\b", 0, into).error, DriveError::kIo);
}

TEST_F(DriveRequestsTest, ARenameCarriesTheDriveAndTheReplaceCode) {
  worker_.PutFile(u"\\a", "1");
  worker_.PutFile(u"\\b", "2");
  EXPECT_EQ(requests_.Rename(u"\\a", u"\\b", false, u"Z:", kProcess), DriveError::kExists);
  EXPECT_EQ(requests_.Rename(u"\\a", u"\\b", true, u"Z:", kProcess), DriveError::kNone);
  const auto log = worker_.Log();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].minor, MinorCode::kNone);
  EXPECT_EQ(log[1].minor, MinorCode::kReplaceOnRename);
  EXPECT_EQ(log[1].path, u"\\a");
  EXPECT_EQ(log[1].second_path, u"\\??\\Z:\\b");
  EXPECT_EQ(log[1].process, kProcess);
}

TEST_F(DriveRequestsTest, RefusalsAndMissingRepliesAreErrors) {
  worker_.PutFile(u"\\a", "1");
  for (int round = 0; round < 2; ++round) {
    if (round == 0) worker_.RefuseNamespaceChanges(true);
    if (round == 1) worker_.LoseReplies([](const AskedRequest&) { return true; });
    EXPECT_EQ(requests_.MakeFolder(u"\\d"), DriveError::kIo);
    EXPECT_EQ(requests_.Delete(u"\\a", kProcess), DriveError::kIo);
    EXPECT_EQ(requests_.Rename(u"\\a", u"\\b", false, u"Z:", kProcess), DriveError::kIo);
  }
  EXPECT_EQ(requests_.WriteEmptyFile(u"\\e", kProcess), DriveError::kIo);
  EXPECT_EQ(requests_.Complete(u"\\a", kProcess, {}), DriveError::kIo);
  EXPECT_EQ(worker_.ServerTree().size(), 1u);
}

TEST_F(DriveRequestsTest, AnAnswerOfAnotherKindIsNoAnswer) {
  // Plays a driver that mixes its replies up.
  class Mixed final : public PlainChannel {
   public:
    std::optional<ChannelReply> Submit(DriveQueue, const RequestRecord&, std::span<const std::byte>,
                                       std::span<std::byte>, const WhileWaiting&) override {
      ChannelReply reply;
      reply.code = IOCTL_VOLUME_REPLY;
      reply.record_size = 4;
      return reply;
    }
  } channel;
  DriveRequests requests(channel);
  EXPECT_EQ(requests.Walk(u"\\").error, DriveError::kIo);
  EXPECT_FALSE(requests.QueryInfo(u"\\a"));
  EXPECT_EQ(requests.Volume().error, DriveError::kIo);  // too short
  EXPECT_EQ(requests.Complete(u"\\a", kProcess, {}), DriveError::kIo);
}

}  // namespace
}  // namespace zv::testing
