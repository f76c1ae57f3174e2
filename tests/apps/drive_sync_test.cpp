// The drive of a sync account: what it asks the worker for, and in whose name.
#include <atomic>
#include <future>
#include <thread>

#include "apps/zvdrive/drive/sync_rules.h"
#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

using ::testing::IsEmpty;

constexpr TextView kShell = u"explorer.exe";

TEST(SyncRules, AnOrdinaryAccountsRequestsGoAsTheyAre) {
  const SyncRules rules(false);
  EXPECT_TRUE(rules.SendsFile(u"\\README"));
  EXPECT_TRUE(rules.SendsFile(u"\\a.tmp"));
  EXPECT_EQ(rules.TellingProcess(u"vim"), u"vim");
  EXPECT_EQ(rules.QuietProcess(kShell), kShell);
  EXPECT_EQ(rules.EmptyFileProcess(u"\\a.txt", u"vim"), u"vim");
  EXPECT_EQ(rules.DeletedPath(u"\\a", true), u"\\a");
}

TEST(SyncRules, NamesTellWhatIsSent) {
  const SyncRules rules(true);
  for (const TextView sent : {u"\\a.txt", u"\\my.docs\\b.c", u"\\~report.doc", u"\\~$notes.txt"}) {
    EXPECT_TRUE(rules.SendsFile(sent)) << ToUtf8(sent);
  }
  for (const TextView kept : {u"\\README", u"\\.profile", u"\\my.docs\\README", u"\\a.TMP",
                              u"\\a.tmp1", u"\\~$report.docx", u"\\~$a.XLS"}) {
    EXPECT_FALSE(rules.SendsFile(kept)) << ToUtf8(kept);
  }
}

TEST(SyncRules, TheShellAloneTellsTheServer) {
  const SyncRules rules(true);
  EXPECT_EQ(rules.TellingProcess(u"vim"), kShell);
  EXPECT_EQ(rules.QuietProcess(u"vim"), u"vim");
  EXPECT_EQ(rules.QuietProcess(u"Explorer.EXE"), u"zvdrive");
  EXPECT_EQ(rules.EmptyFileProcess(u"\\a.txt", u"vim"), kShell);
  EXPECT_EQ(rules.EmptyFileProcess(u"\\a.tmp", u"vim"), u"vim");
  EXPECT_EQ(rules.DeletedPath(u"\\a", true), u"\\a\\");
  EXPECT_EQ(rules.DeletedPath(u"\\a", false), u"\\a");
}

class SyncDriveTest : public DriveTest {
 protected:
  SyncDriveTest()
      : DriveTest(
            DriveOptions{.drive_letter = u"Z:", .walk_lifetime = kLongLifetime, .is_sync = true}) {}

  // Deletions, renames and completions, in order: "delete \a explorer.exe".
  std::vector<std::string> Changes() const {
    std::vector<std::string> changes;
    for (const AskedRequest& asked : worker_.Log()) {
      const std::string what = asked.major == MajorCode::kDelete   ? "delete "
                               : asked.major == MajorCode::kRename ? "rename "
                               : asked.IsCompletion()              ? "complete "
                                                                   : "";
      if (what.empty()) continue;
      changes.push_back(what + ToUtf8(asked.path) + " " + ToUtf8(asked.process));
    }
    return changes;
  }
  // A file that was written and whose name is never sent.
  void WriteKept(TextView path) {
    WriteFile(path, "kept");
    worker_.RemoveFromServer(path);
    worker_.MarkUnsent(path);
    worker_.ClearLog();
  }
};
using Lines = std::vector<std::string>;

TEST_F(SyncDriveTest, DeletesInTheShellsNameAndFoldersByATrailingSeparator) {
  worker_.PutFile(u"\\a.txt", "x");
  worker_.PutFolder(u"\\d");
  EXPECT_EQ(drive_.RemoveFile(u"\\a.txt", kProcess), DriveError::kNone);
  EXPECT_EQ(drive_.RemoveFolder(u"\\d", kProcess), DriveError::kNone);
  EXPECT_EQ(Changes(), (Lines{"delete \\a.txt explorer.exe", "delete \\d\\ explorer.exe"}));
  EXPECT_THAT(worker_.ServerTree(), IsEmpty());
}

TEST_F(SyncDriveTest, RenamesInTheShellsName) {
  worker_.PutFile(u"\\a.txt", "x");
  EXPECT_EQ(drive_.Rename(u"\\a.txt", u"\\b.txt", false, kProcess), DriveError::kNone);
  EXPECT_EQ(Changes(), Lines{"rename \\a.txt explorer.exe"});
}

TEST_F(SyncDriveTest, DeletesWhatARenameReplaces) {
  worker_.PutFile(u"\\a.txt", "new");
  worker_.PutFile(u"\\b.txt", "old");
  EXPECT_EQ(drive_.Rename(u"\\a.txt", u"\\b.txt", true, kProcess), DriveError::kNone);
  EXPECT_EQ(Changes(), (Lines{"delete \\b.txt explorer.exe", "rename \\a.txt explorer.exe"}));
  EXPECT_EQ(worker_.ServerFile(u"\\b.txt"), "new");
}

TEST_F(SyncDriveTest, RenamesNothingWhenWhatIsReplacedCannotBeDeleted) {
  worker_.PutFile(u"\\a.txt", "new");
  worker_.PutFile(u"\\b.txt", "old");
  worker_.LoseReplies(OfMajor(MajorCode::kDelete));
  EXPECT_EQ(drive_.Rename(u"\\a.txt", u"\\b.txt", true, kProcess), DriveError::kIo);
  EXPECT_EQ(worker_.ServerFile(u"\\b.txt"), "old");
}

TEST_F(SyncDriveTest, LooksAnewAfterARenameThatFailed) {
  worker_.PutFile(u"\\a.txt", "x");
  NamesIn(u"\\");
  worker_.RefuseNamespaceChanges(true);
  EXPECT_EQ(drive_.Rename(u"\\a.txt", u"\\b.txt", false, kProcess), DriveError::kIo);
  worker_.ClearLog();
  NamesIn(u"\\");
  EXPECT_GT(worker_.Count(OfMajor(MajorCode::kDirectory)), 0u);
}

TEST_F(SyncDriveTest, ASaveOfAKeptTemporaryFileIsQuietAndReplacesByItsUpload) {
  worker_.PutFile(u"\\report.odt", "old");
  WriteKept(u"\\x.tmp");
  EXPECT_EQ(drive_.Rename(u"\\x.tmp", u"\\report.odt", true, kProcess), DriveError::kNone);
  EXPECT_EQ(Changes(), Lines{"rename \\x.tmp editor"});
}

TEST_F(SyncDriveTest, AKeptFileWhoseContentCouldNotBeMovedIsNotDeletedUnderItsOldName) {
  WriteKept(u"\\README");
  worker_.FailMoves(true);
  EXPECT_EQ(drive_.Rename(u"\\README", u"\\README.md", false, kProcess), DriveError::kIo);
  EXPECT_EQ(Changes(), Lines{"rename \\README editor"});
  EXPECT_TRUE(worker_.IsUnsent(u"\\README"));
  EXPECT_EQ(ReadFrom(OpenFileAt(u"\\README"), 0, 10), "kept");
}

TEST_F(SyncDriveTest, AKeptFileThatGetsANameThatIsSentIsSent) {
  WriteKept(u"\\~$a.doc");
  EXPECT_EQ(drive_.Rename(u"\\~$a.doc", u"\\b.doc", false, kProcess), DriveError::kNone);
  EXPECT_EQ(Changes(), (Lines{"rename \\~$a.doc editor", "complete \\b.doc editor"}));
  EXPECT_EQ(worker_.ServerFile(u"\\b.doc"), "kept");
}

TEST_F(SyncDriveTest, AKeptFileThatGetsAnotherNameOfItsKindStaysHere) {
  WriteKept(u"\\a.tmp");
  EXPECT_EQ(drive_.Rename(u"\\a.tmp", u"\\b.tmp", false, kProcess), DriveError::kNone);
  EXPECT_EQ(Changes(), Lines{"rename \\a.tmp editor"});
  EXPECT_EQ(worker_.ServerFile(u"\\b.tmp"), std::nullopt);
}

TEST_F(SyncDriveTest, WhatTheServerStillListsUnderAKeptFilesOldNameIsDeleted) {
  WriteKept(u"\\README");
  bool renamed = false;
  worker_.OnRequest([&](const AskedRequest& asked) {
    if (renamed && asked.major == MajorCode::kDirectory) worker_.PutFile(u"\\README", "older");
    if (asked.major == MajorCode::kRename) renamed = true;
    if (asked.major == MajorCode::kDelete) renamed = false;
  });
  EXPECT_EQ(drive_.Rename(u"\\README", u"\\README2", false, kProcess), DriveError::kNone);
  EXPECT_EQ(Changes(), (Lines{"rename \\README editor", "delete \\README explorer.exe"}));
  EXPECT_EQ(worker_.ServerFile(u"\\README"), std::nullopt);
}

TEST_F(SyncDriveTest, ANameThatChangesInCaseAloneIsNotDeleted) {
  WriteKept(u"\\a.tmp");
  EXPECT_EQ(drive_.Rename(u"\\a.tmp", u"\\A.tmp", false, kProcess), DriveError::kNone);
  EXPECT_EQ(Changes(), Lines{"rename \\a.tmp editor"});
}

TEST_F(SyncDriveTest, AnEmptyFileIsTheShellsWhenItsNameIsSent) {
  EXPECT_EQ(CloseFile(CreateFileAt(u"\\a.txt")), DriveError::kNone);
  EXPECT_EQ(CloseFile(CreateFileAt(u"\\a.tmp")), DriveError::kNone);
  const auto made = worker_.Log(OfMinor(MinorCode::kZeroBackup));
  ASSERT_EQ(made.size(), 2u);
  EXPECT_EQ(made[0].process, kShell);
  EXPECT_EQ(made[1].process, kProcess);
}

TEST_F(SyncDriveTest, AFolderThatIsNotListedAfterwardsWasNotMade) {
  worker_.OnRequest([this](const AskedRequest& asked) {
    if (asked.major == MajorCode::kDirectory) worker_.RemoveFromServer(u"\\lost");
  });
  EXPECT_EQ(drive_.MakeFolder(u"\\made"), DriveError::kNone);
  EXPECT_EQ(drive_.MakeFolder(u"\\lost"), DriveError::kIo);
  EXPECT_EQ(drive_.Look(u"\\lost").error, DriveError::kNotFound);
}

// The journals of a sync account hold one operation.
TEST_F(SyncDriveTest, AsksOneThingAtATime) {
  std::atomic<int> under_way = 0;
  std::atomic<int> most = 0;
  for (const TextView name : {u"\\a.txt", u"\\b.txt", u"\\c.txt"}) worker_.PutFile(name, "x");
  worker_.OnRequest([&](const AskedRequest&) {
    const int now = ++under_way;
    int seen = most;
    while (now > seen && !most.compare_exchange_weak(seen, now)) continue;
    std::this_thread::yield();
    --under_way;
  });
  std::vector<std::thread> threads;
  for (const TextView name : {u"\\a.txt", u"\\b.txt", u"\\c.txt"}) {
    threads.emplace_back([this, name] {
      for (int i = 0; i < 50; ++i) {
        const FileHandle file = OpenFileAt(name);
        EXPECT_EQ(ReadFrom(file, 0, 1), "x");
        EXPECT_EQ(CloseFile(file), DriveError::kNone);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(most, 1);
}

TEST_F(SyncDriveTest, AnInterruptEndsTheWaitForTheTurnAndTheFileIsSentLater) {
  const FileHandle file = CreateFileAt(u"\\a.txt");
  ASSERT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  std::promise<void> has_turn, turn_ends;
  worker_.OnRequest([&](const AskedRequest& asked) {
    if (asked.major != MajorCode::kVolumeInfo) return;
    has_turn.set_value();
    turn_ends.get_future().wait();
  });
  auto other = std::async(std::launch::async, [&] { return drive_.Volume().error; });
  has_turn.get_future().wait();
  worker_.SetInterrupted(true);
  auto flushed = std::async(std::launch::async, [&] { return drive_.Flush(*file, kProcess); });
  constexpr std::chrono::seconds kPatience(20);
  EXPECT_EQ(flushed.wait_for(kPatience), std::future_status::ready);
  worker_.SetInterrupted(false);
  turn_ends.set_value();
  EXPECT_EQ(flushed.get(), DriveError::kIo);
  EXPECT_EQ(other.get(), DriveError::kNone);
  EXPECT_TRUE(worker_.IsUnsent(u"\\a.txt"));
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a.txt"), "x");
}

}  // namespace
}  // namespace zv::testing
