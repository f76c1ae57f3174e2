// Signals to programs whose calls wait behind transfers that do not end, or for who uses the file.
#include <future>
#include <thread>

#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

constexpr std::chrono::seconds kPatience{30};

DriveOptions Options(std::chrono::milliseconds undisturbed) {
  return {.drive_letter = u"Z:", .walk_lifetime = kLongLifetime, .undisturbed = undisturbed};
}

class InterruptTest : public DriveTest {
 protected:
  InterruptTest() : DriveTest(Options(std::chrono::milliseconds(0))) {}

  void HoldUpAndInterrupt() {
    worker_.LetTransfersWait(true);
    worker_.SetInterrupted(true);
  }
  void LetGo() {
    worker_.LetTransfersWait(false);
    worker_.SetInterrupted(false);
  }
  // As many writes as it takes, from the offset on; what the last one answers.
  DriveError WriteInPieces(const FileHandle& file, int64_t offset, std::string_view data) {
    constexpr size_t kPiece = 131072;
    DriveError error = DriveError::kNone;
    while (!data.empty() && error == DriveError::kNone) {
      error = WriteTo(file, offset, data.substr(0, kPiece));
      offset += static_cast<int64_t>(kPiece);
      data.remove_prefix(std::min(kPiece, data.size()));
    }
    return error;
  }
  DriveError ReadFirst(const FileHandle& file) {
    std::byte first{};
    return drive_.Read(*file, 0, {&first, 1}).error;
  }
};

TEST_F(InterruptTest, ASmallWriteIsGivenUpAndMayBeTriedAgain) {
  const FileHandle file = CreateFileAt(u"\\a");
  HoldUpAndInterrupt();
  EXPECT_EQ(WriteTo(file, 0, "text"), DriveError::kInterrupted);
  EXPECT_EQ(file->size, 0);
  LetGo();
  EXPECT_EQ(WriteTo(file, 0, "text"), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "text");
}

TEST_F(InterruptTest, AWriteThatWaitsForTheBlockBeforeItIsNotTakenAndNothingBeforeItIsLost) {
  const std::string content = Pattern(2 * kLargestBlock);
  for (const TextView path : {u"\\whole", u"\\in pieces"}) {
    const bool in_pieces = path == u"\\in pieces";
    const auto write = [&](const FileHandle& file, int64_t offset, std::string_view data) {
      return in_pieces ? WriteInPieces(file, offset, data) : WriteTo(file, offset, data);
    };
    const FileHandle file = CreateFileAt(path);
    HoldUpAndInterrupt();
    EXPECT_EQ(write(file, 0, std::string_view(content).substr(0, kLargestBlock)),
              DriveError::kNone);
    EXPECT_EQ(write(file, kLargestBlock, std::string_view(content).substr(kLargestBlock)),
              DriveError::kInterrupted);
    LetGo();
    const auto taken = static_cast<size_t>(file->size.load());
    EXPECT_EQ(taken, in_pieces ? content.size() - 131072 : kLargestBlock);
    EXPECT_EQ(write(file, file->size, std::string_view(content).substr(taken)), DriveError::kNone);
    EXPECT_EQ(CloseFile(file), DriveError::kNone);
    EXPECT_TRUE(worker_.ServerFile(path) == content);
  }
}

TEST_F(InterruptTest, AWriteFarIntoANewFileIsNotTakenWhileTheFileCannotBegin) {
  const FileHandle file = CreateFileAt(u"\\a");
  const std::string block = Pattern(kLeastGathered);
  HoldUpAndInterrupt();
  EXPECT_EQ(WriteTo(file, 10, block), DriveError::kInterrupted);
  EXPECT_EQ(file->size, 0);
  LetGo();
  EXPECT_EQ(WriteTo(file, 10, block), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), std::string(10, '\0') + block);
}

TEST_F(InterruptTest, WhatWasGatheredStaysWhoeverAsksForItMeanwhile) {
  const std::string content = Pattern(kLeastGathered);
  const FileHandle file = CreateFileAt(u"\\a");
  ASSERT_EQ(WriteTo(file, 0, content), DriveError::kNone);
  HoldUpAndInterrupt();
  EXPECT_EQ(ReadFirst(file), DriveError::kInterrupted);
  EXPECT_EQ(drive_.Resize(*file, 5), DriveError::kInterrupted);
  EXPECT_EQ(drive_.Flush(*file, kProcess), DriveError::kIo);
  EXPECT_EQ(WriteTo(file, 3, "small"), DriveError::kInterrupted);
  EXPECT_EQ(file->size, static_cast<int64_t>(content.size()));
  LetGo();
  EXPECT_EQ(ReadFrom(file, 0, content.size()), content);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), content);
}

TEST_F(InterruptTest, AReadIsGivenUpAndOthersMayRead) {
  worker_.PutFile(u"\\a", "text");
  const FileHandle file = OpenFileAt(u"\\a");
  HoldUpAndInterrupt();
  EXPECT_EQ(ReadFirst(file), DriveError::kInterrupted);
  LetGo();
  EXPECT_EQ(ReadFrom(file, 0, 10), "text");
}

TEST_F(InterruptTest, AFileIsCutWholeOnceThatHasBegun) {
  const std::string content = Pattern(3 * kLargestBlock);
  worker_.PutFile(u"\\a", content);
  const FileHandle file = OpenFileAt(u"\\a");
  worker_.OnRequest([&](const AskedRequest& asked) {
    if (asked.IsBlock()) HoldUpAndInterrupt();
  });
  constexpr size_t kKept = 2 * kLargestBlock + 5;
  EXPECT_EQ(drive_.Resize(*file, kKept), DriveError::kNone);
  worker_.OnRequest({});
  LetGo();
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_TRUE(worker_.ServerFile(u"\\a") == content.substr(0, kKept));
}

TEST_F(InterruptTest, AnEmptyFileIsSentWhenItIsLastClosed) {
  const FileHandle file = CreateFileAt(u"\\a");
  HoldUpAndInterrupt();
  EXPECT_EQ(drive_.Flush(*file, kProcess), DriveError::kIo);
  EXPECT_FALSE(worker_.ServerFile(u"\\a"));
  LetGo();
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "");
}

TEST_F(InterruptTest, AFolderIsNotMadeAndKeepsNoNameFromOthers) {
  HoldUpAndInterrupt();
  EXPECT_NE(drive_.MakeFolder(u"\\f"), DriveError::kNone);
  LetGo();
  EXPECT_FALSE(worker_.ServerHasFolder(u"\\f"));
  WriteFile(u"\\f", "a file now");
  EXPECT_EQ(worker_.ServerFile(u"\\f"), "a file now");
}

TEST_F(InterruptTest, WhoeverWaitsForAUserOfTheFileWaitsNoLonger) {
  worker_.PutFile(u"\\a", "text");
  const FileHandle file = OpenFileAt(u"\\a");
  std::unique_lock in_use(file->mutex);
  worker_.SetInterrupted(true);
  EXPECT_EQ(WriteTo(file, 0, "x"), DriveError::kInterrupted);
  EXPECT_EQ(drive_.Append(*file, BytesOf("x")), DriveError::kInterrupted);
  EXPECT_EQ(ReadFirst(file), DriveError::kInterrupted);
  EXPECT_EQ(drive_.Resize(*file, 2), DriveError::kInterrupted);
  EXPECT_EQ(drive_.RemoveFile(u"\\a", kProcess), DriveError::kInterrupted);
  EXPECT_EQ(drive_.Rename(u"\\a", u"\\b", true, kProcess), DriveError::kInterrupted);
  worker_.SetInterrupted(false);
  in_use.unlock();
  EXPECT_EQ(drive_.Rename(u"\\a", u"\\b", true, kProcess), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\b"), "text");
}

TEST_F(InterruptTest, WhoeverWaitsForAnotherChangeOfNamesWaitsNoLonger) {
  WriteFile(u"\\a", "text");
  std::promise<void> has_turn, turn_ends;
  worker_.OnRequest([&](const AskedRequest& asked) {
    if (asked.major != MajorCode::kRename) return;
    has_turn.set_value();
    turn_ends.get_future().wait();
  });
  auto renamed =
      std::async(std::launch::async, [&] { return drive_.Rename(u"\\a", u"\\b", true, kProcess); });
  has_turn.get_future().wait();
  worker_.SetInterrupted(true);
  EXPECT_EQ(drive_.MakeFolder(u"\\f"), DriveError::kInterrupted);
  EXPECT_EQ(drive_.RemoveFolder(u"\\f", kProcess), DriveError::kInterrupted);
  turn_ends.set_value();
  EXPECT_EQ(renamed.get(), DriveError::kNone);
}

class PatientTest : public DriveTest {
 protected:
  PatientTest() : DriveTest(Options(std::chrono::hours(24))) {}
};

TEST_F(PatientTest, ASignalDoesNotDisturbWhatTakesItsUsualTime) {
  const FileHandle file = CreateFileAt(u"\\a");
  worker_.LetTransfersWait(true);
  worker_.SetInterrupted(true);
  auto written = std::async(std::launch::async, [&] { return WriteTo(file, 0, "text"); });
  while (worker_.held_up() == 0) std::this_thread::yield();
  worker_.LetTransfersWait(false);
  ASSERT_EQ(written.wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(written.get(), DriveError::kNone);
  worker_.SetInterrupted(false);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "text");
}

}  // namespace
}  // namespace zv::testing
