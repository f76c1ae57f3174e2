// What the logs say when an operation breaks off in its middle, by the kind of what was thrown.
#include "tests/support/failing_memory.h"
#include "tests/webdav/account_fixture.h"
#include "tests/webdav/replies.h"

namespace zv::testing {
namespace {

using ::testing::IsEmpty;

class BrokenOperation : public AccountTest {
 protected:
  BrokenOperation() {
    server_.On([](const Request& request) {
      if (request.verb != "PROPFIND") return Reply::Status(200).Body("content");
      return Reply::Status(207).Body(Multistatus(Response("/users/anna/Files/Docs/")));
    });
    MakeFolders(u"C:\\Apps\\Host");
  }

  using Operation = std::function<void(OpenClient& client)>;
  // The texts that no broken run of the operation wrote to the debug log.
  std::vector<Text> NotTraced(Throw thrown, std::vector<Text> texts, const Operation& operation) {
    return Missing(u"DavDebug.txt", thrown, std::move(texts), operation);
  }
  std::vector<Text> NotTold(Throw thrown, std::vector<Text> texts, const Operation& operation) {
    return Missing(u"UserLog.txt", thrown, std::move(texts), operation);
  }

 private:
  std::vector<Text> Missing(TextView log, Throw thrown, std::vector<Text> texts,
                            const Operation& operation) {
    OpenClient client;
    return NeverLogged(home_, log, thrown, std::move(texts), [&] { operation(client); });
  }
};

void List(OpenClient& client) {
  DirectoryEntry* entries = nullptr;
  client.GetDirectoryContents(u"/Docs/", &entries);
}

void AskFolderTime(OpenClient& client) {
  Seconds1601 time;
  client.GetFolderLastModifiedTime(u"/Docs/", &time);
}

void AskFileTime(OpenClient& client) {
  int64_t length = 0;
  FileTime time;
  client.GetLastModifiedTime(u"/a long file name.txt", &length, &time);
}

void AskLength(OpenClient& client) {
  Text length;
  FileTime time;
  client.GetFileLength(u"/a long file name.txt", &length, &time);
}

void Download(OpenClient& client) {
  client.RestoreFile(u"/a long file name.txt", u"C:\\Apps\\Host\\part");
}

TEST_F(BrokenOperation, AListingSaysWhatKindOfFailureItWas) {
  EXPECT_THAT(NotTraced(ThrowNoMemory,
                        {u"Memory Error from DAV GetContents, Reason: Out of memory."}, List),
              IsEmpty());
  EXPECT_THAT(NotTraced(ThrowInternetError,
                        {u"Internet Error from DAV GetContents, Reason: the line is cut"}, List),
              IsEmpty());
  EXPECT_THAT(NotTraced(ThrowFileError,
                        {u"Regular Error from DAV GetContents. Reason: the disk is gone"}, List),
              IsEmpty());
  EXPECT_THAT(NotTraced(ThrowAnything, {u"Unknown error from DAV GetContents. Reason : "}, List),
              IsEmpty());
}

TEST_F(BrokenOperation, AListingTellsTheUserOfFailuresOfTheSystem) {
  EXPECT_THAT(NotTold(ThrowOtherError,
                      {u"Unable to get the directory contents. Reason: it is broken"}, List),
              IsEmpty());
}

TEST_F(BrokenOperation, ATagThatCannotBeReadIsNamed) {
  EXPECT_THAT(NotTraced(ThrowOtherError,
                        {u"Parsing error while reading the tag value D:href. Reason : it is broken",
                         u"Parsing error while reading the tag value "
                         u"D:propstat/D:prop/lp0:getlastmodified. Reason : it is broken"},
                        List),
              IsEmpty());
  EXPECT_THAT(
      NotTold(ThrowOtherError, {u"Unable to parse the tag D:href. Reason: it is broken"}, List),
      IsEmpty());
}

TEST_F(BrokenOperation, AListingIsWholeOrHasFailedWhereverMemoryRunsOut) {
  server_.On([](const Request&) {
    return Reply::Status(207).Body(
        Multistatus(Response("/users/anna/Files/Docs/a%20long%20file%20name.txt", Length("7000")) +
                    Response("/users/anna/Files/Docs/")));
  });
  OpenClient client;
  size_t failed = 0;
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    DirectoryEntry* entries = nullptr;
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      if (!client.GetDirectoryContents(u"/Docs/", &entries)) ++failed;
      happened = failing.happened();
    }
    if (!entries) continue;
    const DirectoryEntry& file = entries[2];  // after "." and ".."
    EXPECT_EQ(file.Name(), u"a long file name.txt") << "allocation " << number;
    EXPECT_EQ(file.size, 7000) << "allocation " << number;
    EXPECT_EQ(file.last_write_time, kThatSecond) << "allocation " << number;
    EXPECT_EQ(file.creation_time, kThatSecond) << "allocation " << number;
  }
  EXPECT_GT(failed, 0U);
}

TEST_F(BrokenOperation, AFolderTimeSaysWhatKindOfFailureItWas) {
  EXPECT_THAT(NotTraced(ThrowNoMemory,
                        {u"Memory Error from GetFolderLastModifiedTime, Reason: Out of memory."},
                        AskFolderTime),
              IsEmpty());
  EXPECT_THAT(NotTraced(ThrowInternetError,
                        {u"Internet Error from GetFolderLastModifiedTime, Reason: the line is cut"},
                        AskFolderTime),
              IsEmpty());
  EXPECT_THAT(NotTraced(ThrowFileError,
                        {u"Regular Error from GetFolderLastModifiedTime, Reason: the disk is gone"},
                        AskFolderTime),
              IsEmpty());
  EXPECT_THAT(NotTraced(ThrowAnything, {u"Unknown error from GetFolderLastModifiedTime, Reason : "},
                        AskFolderTime),
              IsEmpty());
}

TEST_F(BrokenOperation, QuestionsAboutAFile) {
  EXPECT_THAT(
      NotTraced(ThrowOtherError, {u"Exception in getting Last modified Time, Reason: it is broken"},
                AskFileTime),
      IsEmpty());
  EXPECT_THAT(NotTraced(ThrowOtherError,
                        {u"Exception in getting file length, Reason: it is broken"}, AskLength),
              IsEmpty());
  EXPECT_THAT(
      NotTraced(ThrowNoMemory, {u"Exception in getting file length, Reason: Out of memory."},
                [](OpenClient& client) {
                  Text length;
                  client.IsFileOnServer(u"/a long file name.txt", &length);
                }),
      IsEmpty());
}

TEST_F(BrokenOperation, Changes) {
  EXPECT_THAT(
      NotTraced(ThrowOtherError, {u"Exception in create directory, Reason: it is broken"},
                [](OpenClient& client) { client.CreateDirectoryOnServer(u"/a folder's name"); }),
      IsEmpty());
  EXPECT_THAT(NotTraced(ThrowOtherError, {u"Exception in DeleteResource, Reason: it is broken"},
                        [](OpenClient& client) { client.DeleteResource(u"/a folder's name"); }),
              IsEmpty());
  EXPECT_THAT(NotTraced(ThrowNoMemory, {u"Exception in DeleteResource, Reason: Out of memory."},
                        [](OpenClient& client) { client.DeleteServerFile(u"/a file's name"); }),
              IsEmpty());
  EXPECT_THAT(NotTraced(ThrowOtherError, {u"Exception in RenameResource, Reason: it is broken"},
                        [](OpenClient& client) { client.RenameResource(u"/old name", u"/new"); }),
              IsEmpty());
}

// The server's root is no destination.
TEST_F(BrokenOperation, ARenameAlwaysNamesItsWholeDestination) {
  OpenClient client;
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    const FailingAllocation failing(number, ThrowNoMemory);
    client.RenameResource(u"/old name", u"/new");
    happened = failing.happened();
  }
  ASSERT_GE(server_.request_count(), 1U);
  for (const Request& request : server_.requests()) {
    EXPECT_EQ(request.Header("Destination"),
              "http://" + server_.address() + "/users/anna/Files/new");
  }
}

TEST_F(BrokenOperation, SendingARequest) {
  const Text path = u"/users/anna/Files/a long file name.txt";
  const auto send = [&](OpenClient& client) {
    client.ResetRequest();
    client.SendDAVRequest(u"OPTIONS", path);
  };
  EXPECT_THAT(NotTraced(ThrowNoMemory,
                        {u"Failed to encode unicode string. Reason:",
                         u"Unknown error in Sending DAV Request, Reason : "},
                        send),
              IsEmpty());
  EXPECT_THAT(
      NotTraced(ThrowInternetError, {u"Error calling OPTIONS, Reason: the line is cut"}, send),
      IsEmpty());
}

TEST_F(BrokenOperation, AnErrorMessageWithoutMemoryIsEmpty) {
  EXPECT_THAT(NotTraced(ThrowNoMemory, {u"Exception in  GetErrorMessage"},
                        [](OpenClient& client) {
                          client.status_text_ = Text();
                          client.GetErrorMessage();
                        }),
              IsEmpty());
}

TEST_F(BrokenOperation, StartingADownload) {
  TransferRequest request{.path = u"/a long file name.txt", .offset = 3};
  const auto start = [&](OpenClient& client) {
    client.StartRestore(request, false);
    client.EndRestoreFromServer(request);
  };
  EXPECT_THAT(
      NotTraced(ThrowNoMemory, {u"Error initiating restore, Reason: Out of memory."}, start),
      IsEmpty());
  EXPECT_THAT(NotTraced(ThrowAnything, {u"Exception in initiating restore, Reason: "}, start),
              IsEmpty());
}

TEST_F(BrokenOperation, AnAttemptToDownload) {
  const VirtualClock clock;
  EXPECT_THAT(NotTraced(ThrowFileError,
                        {u"Exception in download of file /a long file name.txt [retry count 1, 0% "
                         u"downloaded]. Reason: the disk is gone"},
                        Download),
              IsEmpty());
  EXPECT_THAT(NotTraced(ThrowAnything,
                        {u"Unknown Exception in download of file /a long file name.txt [retry "
                         u"count 1, 0% downloaded]. Reason: "},
                        Download),
              IsEmpty());
}

TEST_F(BrokenOperation, BetweenTwoAttemptsToDownload) {
  server_.On([](const Request&) { return Reply::Status(500); });
  OpenClient client;
  {
    const VirtualClock clock([](uint32_t) { ThrowFileError(); });
    Download(client);
    EXPECT_TRUE(
        TraceHas(u"Error downloading file /a long file name.txt. Reason: the disk is gone"));
  }
  const VirtualClock clock([](uint32_t) { ThrowAnything(); });
  Download(client);
  EXPECT_EQ(CountInTrace(u"Error while downloading file /a long file name.txt. Reason: "), 1U);
}

TEST_F(BrokenOperation, AClientIsMadeWholeOrNotAtAll) {
  size_t made = 0;
  ForEachMadeShortOfMemory<OpenClient>([&](OpenClient& client, size_t number) {
    ++made;
    EXPECT_TRUE(client.connection_) << "allocation " << number;
    EXPECT_EQ(client.account_root(), u"/users/anna/Files") << "allocation " << number;
  });
  EXPECT_GT(made, 0U);
}

TEST_F(BrokenOperation, MakingAClient) {
  EXPECT_THAT(NotTraced(ThrowOtherError,
                        {u"Error in CWebDAV constructor, Reason : it is broken",
                         u"Exception reading registry, Reason : it is broken",
                         u"Error in PrepareConnectionHandle, Reason: it is broken"},
                        [](OpenClient&) {
                          try {
                            const CWebDAV other;
                          } catch (const Error&) {
                            // Its members could not be made: there is no client, and no log to
                            // write to.
                          }
                        }),
              IsEmpty());
}

}  // namespace
}  // namespace zv::testing
