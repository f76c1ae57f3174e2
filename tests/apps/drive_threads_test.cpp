// Several threads on one drive.
#include <atomic>
#include <future>
#include <thread>

#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

constexpr std::chrono::seconds kPatience(20);

class ThreadsTest : public DriveTest {
 protected:
  ThreadsTest() : DriveTest(kNoLifetime) {}

  static Text NameOf(unsigned number) {
    return Text(u"\\d\\").append(1, static_cast<char16_t>(u'a' + number % 6)).append(u".txt");
  }

  // One of everything, on names that all threads share. Outcomes depend on the others.
  void Step(unsigned random) {
    const Text name = NameOf(random >> 8);
    const Text other = NameOf(random >> 16);
    switch (random % 7) {
      case 0:
        drive_.List(u"\\d");
        break;
      case 1:
        drive_.Rename(name, other, (random & 64) != 0, kProcess);
        break;
      case 2:
        drive_.RemoveFile(name, kProcess);
        break;
      case 3:
        drive_.SendAgain(name, true, kProcess);
        break;
      default:
        Use(name, random);
    }
  }

  // Writes whole contents of one letter; whatever is read must be of one letter.
  void Use(const Text& name, unsigned random) {
    auto opened = drive_.Create(name);
    if (opened.error == DriveError::kExists) opened = drive_.Open(name, random % 5 == 4);
    if (!opened) return;
    if (random % 3 == 0) {
      const std::string content(100 + random % 1000, static_cast<char>('A' + random % 26));
      drive_.Write(*opened.value.file, 0, BytesOf(content.substr(0, 100)));
    } else {
      const std::string content = ReadFrom(opened.value.file, 0, 100);
      if (content != "(the read failed)" &&
          content.find_first_not_of(content.empty() ? 'A' : content[0]) != std::string::npos) {
        ++mixed_reads_;
      }
    }
    drive_.Close(opened.value.file, kProcess);
  }

  static void RunAll(const std::function<void(unsigned)>& body) {
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 4; ++i) threads.emplace_back(body, i);
    for (std::thread& thread : threads) thread.join();
  }

  std::atomic<int> mixed_reads_ = 0;
};

TEST_F(ThreadsTest, WalksTakeTurns) {
  for (const TextView folder : {u"\\a", u"\\b", u"\\c", u"\\d"}) {
    worker_.PutFolder(folder);
    for (int i = 0; i < 20; ++i) {
      worker_.PutFile(Text(folder) + u"\\" + Text(1, static_cast<char16_t>(u'a' + i)), "x");
    }
  }
  std::atomic<int> wrong = 0;
  RunAll([&](unsigned thread) {
    const Text folder = Text(u"\\") + Text(1, static_cast<char16_t>(u'a' + thread));
    for (int i = 0; i < 30; ++i) {
      const auto nodes = drive_.List(folder);
      if (!nodes || nodes.value.size() != 20) ++wrong;
    }
  });
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(worker_.broken_walks(), 0);
}

TEST_F(ThreadsTest, ReadersWritersRenamersAndListersShareADrive) {
  worker_.PutFolder(u"\\d");
  RunAll([&](unsigned thread) {
    unsigned state = thread + 1;
    for (int i = 0; i < 400; ++i) {
      state = state * 1664525U + 1013904223U;
      Step(state >> 4);
    }
  });
  EXPECT_EQ(mixed_reads_, 0);
  EXPECT_EQ(worker_.broken_walks(), 0);
  // Nothing is held any more, and the drive shows what the server has.
  drive_.Invalidate(u"\\d\\x");
  const auto nodes = drive_.List(u"\\d");
  ASSERT_TRUE(nodes);
  EXPECT_EQ(nodes.value.size() + 1, worker_.ServerTree().size());
  for (const NamedNode& node : nodes.value) {
    const Text path = Text(u"\\d\\") + node.name;
    EXPECT_EQ(drive_.RemoveFile(path, kProcess), DriveError::kNone) << ToUtf8(path);
  }
  EXPECT_EQ(drive_.RemoveFolder(u"\\d", kProcess), DriveError::kNone);
}

TEST_F(ThreadsTest, OfManyWhoMakeOneFileOneSucceeds) {
  for (int round = 0; round < 50; ++round) {
    const Text name = u"\\f" + FromUtf8(std::to_string(round));
    std::atomic<int> made = 0, refused = 0;
    RunAll([&](unsigned) {
      const auto opened = drive_.Create(name);
      if (opened) {
        ++made;
        drive_.Close(opened.value.file, kProcess);
      } else if (opened.error == DriveError::kExists) {
        ++refused;
      }
    });
    EXPECT_EQ(made, 1);
    EXPECT_EQ(refused, 3);
  }
}

TEST_F(ThreadsTest, WhoOpensAFileThatIsBeingRenamedFindsItGone) {
  worker_.PutFile(u"\\a.txt", "x");
  std::thread opener;
  std::atomic<DriveError> error = DriveError::kNone;
  Text from = u"\\a.txt", to = u"\\b.txt";
  // Opened while the worker is renaming it: the file must not be had under its old name.
  worker_.OnRequest([&](const AskedRequest& asked) {
    if (asked.major != MajorCode::kRename) return;
    std::atomic<bool> started = false;
    opener = std::thread([&] {
      started = true;
      error = drive_.Open(from, false).error;
    });
    while (!started) std::this_thread::yield();
  });
  for (int round = 0; round < 20; ++round) {
    EXPECT_EQ(drive_.Rename(from, to, false, kProcess), DriveError::kNone);
    opener.join();
    EXPECT_EQ(error, DriveError::kNotFound);
    std::swap(from, to);
  }
}

TEST_F(ThreadsTest, ARemovalThatWaitsForAnUploadHoldsUpNoOtherChange) {
  WriteFile(u"\\b", "other");
  const FileHandle file = CreateFileAt(u"\\a");
  ASSERT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  worker_.HoldCompletions();
  std::promise<void> is_sent;
  worker_.OnRequest([&](const AskedRequest& asked) {
    if (asked.IsCompletion()) is_sent.set_value();
  });
  auto closed = std::async(std::launch::async, [&] { return CloseFile(file); });
  is_sent.get_future().wait();
  worker_.OnRequest({});
  std::promise<void> begins;
  auto removed = std::async(std::launch::async, [&] {
    begins.set_value();
    return drive_.RemoveFile(u"\\a", kProcess);
  });
  begins.get_future().wait();
  auto renamed = std::async(std::launch::async, [&] {
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(drive_.Rename(u"\\b", u"\\c", false, kProcess), DriveError::kNone);
      EXPECT_EQ(drive_.Rename(u"\\c", u"\\b", false, kProcess), DriveError::kNone);
    }
  });
  EXPECT_EQ(renamed.wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(removed.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  worker_.CancelTransfer(u"\\a");
  EXPECT_EQ(closed.get(), DriveError::kNotStored);
  EXPECT_EQ(removed.get(), DriveError::kNone);
}

TEST_F(ThreadsTest, AnInterruptEndsTheWaitForAFileThatSomebodyElseSends) {
  const FileHandle file = CreateFileAt(u"\\a");
  ASSERT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  const long at_rest = file.use_count();
  std::unique_lock in_use(file->mutex);
  auto opened = std::async(std::launch::async, [&] { return drive_.Open(u"\\a", false).error; });
  auto viewed = std::async(std::launch::async, [&] { drive_.ViewContent(file); });
  auto flushed = std::async(std::launch::async, [&] { return drive_.Flush(*file, kProcess); });
  while (file.use_count() == at_rest) std::this_thread::yield();
  worker_.SetInterrupted(true);
  EXPECT_EQ(opened.wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(viewed.wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(flushed.wait_for(kPatience), std::future_status::ready);
  worker_.SetInterrupted(false);
  in_use.unlock();
  EXPECT_EQ(opened.get(), DriveError::kInterrupted);
  EXPECT_EQ(flushed.get(), DriveError::kIo);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "x");
}

// The upload begins when the removal has waited for the file's users and waits for its turn.
TEST_F(ThreadsTest, AnUploadThatBeginsBeforeARemovalsTurnHoldsUpNoOtherChange) {
  WriteFile(u"\\b", "other");
  const FileHandle file = CreateFileAt(u"\\a");
  ASSERT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  worker_.HoldCompletions();
  std::promise<void> has_turn, turn_ends, is_sent;
  worker_.OnRequest([&](const AskedRequest& asked) {
    if (asked.IsCompletion()) is_sent.set_value();
    if (asked.major != MajorCode::kRename) return;
    has_turn.set_value();
    turn_ends.get_future().wait();
  });
  auto first = std::async(std::launch::async,
                          [&] { return drive_.Rename(u"\\b", u"\\c", false, kProcess); });
  has_turn.get_future().wait();

  // Whoever waits for the file's users has a handle of it.
  const long at_rest = file.use_count();
  std::unique_lock in_use(file->mutex);
  auto removed =
      std::async(std::launch::async, [&] { return drive_.RemoveFile(u"\\a", kProcess); });
  while (file.use_count() == at_rest) std::this_thread::yield();
  in_use.unlock();
  while (file.use_count() != at_rest) std::this_thread::yield();
  auto closed = std::async(std::launch::async, [&] { return CloseFile(file); });
  is_sent.get_future().wait();
  worker_.OnRequest({});

  turn_ends.set_value();
  EXPECT_EQ(first.get(), DriveError::kNone);
  while (file.use_count() == at_rest) std::this_thread::yield();
  auto second = std::async(std::launch::async,
                           [&] { return drive_.Rename(u"\\c", u"\\b", false, kProcess); });
  EXPECT_EQ(second.wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(removed.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  worker_.CancelTransfer(u"\\a");
  EXPECT_EQ(closed.get(), DriveError::kNotStored);
  EXPECT_EQ(removed.get(), DriveError::kNone);
}

}  // namespace
}  // namespace zv::testing
