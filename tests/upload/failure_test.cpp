// What the logs say when an upload breaks off in its middle, by the kind of what was thrown.
#include "tests/support/failing_memory.h"
#include "tests/upload/upload_fixture.h"

namespace zv::testing {
namespace {

using ::testing::Each;
using ::testing::IsEmpty;

class BrokenUpload : public UploadTest {
 protected:
  BrokenUpload() {
    MakeSource("content");
    Store();
  }

  std::vector<Text> NotTraced(Throw thrown, std::vector<Text> texts,
                              const std::function<void()>& operation) {
    return NeverLogged(home_, u"DavDebug.txt", thrown, std::move(texts), operation);
  }
  std::vector<Text> NotTold(Throw thrown, std::vector<Text> texts,
                            const std::function<void()>& operation) {
    return NeverLogged(home_, u"UserLog.txt", thrown, std::move(texts), operation);
  }

  TransferRequest request_{.path = Text(kResource)};
  const std::function<void()> transfer_ = [this] { Transfer(); };
  const std::function<void()> initiate_ = [this] {
    client_.InitiateUpload(request_);
    client_.ClearRequest();
  };
};

TEST_F(BrokenUpload, AnAttemptThatTheSystemEnds) {
  EXPECT_THAT(NotTraced(ThrowFileError,
                        {u"Unknown Exception in upload of \t\t   file /big.bin. Reason the disk "
                         u"is gone"},
                        transfer_),
              IsEmpty());
  EXPECT_THAT(NotTold(ThrowOtherError,
                      {u"Resuming upload of file /big.bin [retry count 1, 0% transferred]. "
                       u"\t\t\tReason: it is broken"},
                      transfer_),
              IsEmpty());
}

TEST_F(BrokenUpload, ATransfer) {
  EXPECT_THAT(
      NotTraced(ThrowAnything, {u"Unknown error in LocalFileTransfer for file /big.bin. Reason : "},
                transfer_),
      IsEmpty());
  EXPECT_THAT(
      NotTold(ThrowOtherError, {u"Error uploading local file /big.bin. Reason: "}, transfer_),
      IsEmpty());
}

TEST_F(BrokenUpload, TheVerificationOfATransfer) {
  EXPECT_THAT(NotTraced(ThrowNoMemory, {u"Exception in VerifyBkpFile, Reason: Out of memory."},
                        [this] { client_.VerifyBkpFile(kResource, 0); }),
              IsEmpty());
}

TEST_F(BrokenUpload, ASingleRequestSaysWhetherItWasTheInternet) {
  EXPECT_THAT(
      NotTraced(ThrowInternetError,
                {u"Error uploading /users/anna/Files/big.bin, Reason: the line is cut"}, initiate_),
      IsEmpty());
  EXPECT_THAT(
      NotTraced(ThrowAnything, {u"Unknown error uploading /users/anna/Files/big.bin, Reason : "},
                initiate_),
      IsEmpty());
}

TEST_F(BrokenUpload, ASingleRequestThatIsNeverSent) {
  EXPECT_THAT(NotTraced(ThrowOtherError,
                        {u"Error initiating upload of /big.bin, Reason : it is broken"}, initiate_),
              IsEmpty());
  EXPECT_THAT(NotTold(ThrowOtherError,
                      {u"Error initiating upload of /big.bin. Reason: it is broken"}, initiate_),
              IsEmpty());
}

// Without its path a request would go to the server's root.
TEST_F(BrokenUpload, AnUploadWhosePathCannotBeEncodedIsNotSentElsewhere) {
  EXPECT_THAT(NotTraced(ThrowNoMemory, {u"Failed to encode unicode string. Reason:"}, initiate_),
              IsEmpty());
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    const FailingAllocation failing(number, ThrowNoMemory);
    initiate_();
    happened = failing.happened();
  }
  ASSERT_GE(server_.request_count(), 1U);
  EXPECT_THAT(server_.lines(), Each(std::string(kPut)));
}

TEST_F(BrokenUpload, TheConnection) {
  EXPECT_THAT(
      NotTraced(ThrowOtherError, {u"Exception in PrepareConnectionHandle!, Reason : it is broken"},
                [this] { client_.PrepareConnectionHandle(); }),
      IsEmpty());
}

TEST_F(BrokenUpload, AClientThatIsMadeReachesTheAccount) {
  size_t made = 0;
  ForEachMadeShortOfMemory<CBackupDAV>([&](CBackupDAV& client, size_t number) {
    ++made;
    EXPECT_TRUE(client.InitiateUpload(request_)) << "allocation " << number;
    client.ClearRequest();
  });
  EXPECT_GT(made, 0U);
  EXPECT_THAT(server_.lines(), Each(std::string(kPut)));
}

TEST_F(BrokenUpload, TheScriptServer) {
  home_.SetSetting(kConnectionSubKey, u"anna", u"a.long.server.name.example;");
  EXPECT_THAT(NotTraced(ThrowOtherError, {u"Exception in GetScriptServer, Reason: it is broken"},
                        [this] { client_.GetScriptServer(); }),
              IsEmpty());
}

}  // namespace
}  // namespace zv::testing
