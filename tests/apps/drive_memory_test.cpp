// Operations that end in their midst because memory runs out.
#include <memory>
#include <new>
#include <utility>

#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

class OutOfMemoryTest : public DriveTest {
 protected:
  OutOfMemoryTest() {
    worker_.PutFile(u"\\a", "ten bytes.");
    NamesIn(u"\\");
  }

  void RunOutAt(RequestTest which) {
    worker_.OnRequest([which = std::move(which)](const AskedRequest& asked) {
      if (which(asked)) throw std::bad_alloc();
    });
  }
  // A file that is open nowhere else is forgotten with its close.
  bool IsForgottenAfter(FileHandle last_open) {
    worker_.OnRequest({});
    EXPECT_EQ(CloseFile(last_open), DriveError::kNone);
    const std::weak_ptr<OpenFile> file = last_open;
    last_open.reset();
    return file.expired();
  }
};

TEST_F(OutOfMemoryTest, AnOpenThatCannotEndKeepsNothingOpen) {
  RunOutAt(OfMajor(MajorCode::kQueryInfo));
  EXPECT_THROW(drive_.Open(u"\\a", false), std::bad_alloc);
  worker_.OnRequest({});
  EXPECT_TRUE(IsForgottenAfter(OpenFileAt(u"\\a")));
}

TEST_F(OutOfMemoryTest, ACloseThatCannotSendClosesAllTheSame) {
  FileHandle other = OpenFileAt(u"\\a");
  ASSERT_EQ(WriteTo(other, 0, "TEN"), DriveError::kNone);
  RunOutAt([](const AskedRequest& asked) { return asked.IsCompletion(); });
  EXPECT_THROW(CloseFile(OpenFileAt(u"\\a")), std::bad_alloc);
  EXPECT_TRUE(IsForgottenAfter(std::move(other)));
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "TEN bytes.");
}

TEST_F(OutOfMemoryTest, ASendingThatCannotEndKeepsNothingOpen) {
  worker_.RefuseUploads(true);
  const FileHandle file = OpenFileAt(u"\\a");
  ASSERT_EQ(WriteTo(file, 0, "TEN"), DriveError::kNone);
  ASSERT_EQ(CloseFile(file), DriveError::kNotStored);
  worker_.RefuseUploads(false);
  RunOutAt([](const AskedRequest& asked) { return asked.IsCompletion(); });
  EXPECT_THROW(drive_.SendAgain(u"\\a", true, kProcess), std::bad_alloc);
  worker_.OnRequest({});
  EXPECT_EQ(drive_.SendAgain(u"\\a", true, kProcess), DriveError::kNone);
  EXPECT_TRUE(IsForgottenAfter(OpenFileAt(u"\\a")));
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "TEN bytes.");
}

TEST_F(OutOfMemoryTest, AResizingThatCannotEndKeepsNothingOpen) {
  RunOutAt(OfMajor(MajorCode::kRestore));
  EXPECT_THROW(drive_.ResizePath(u"\\a", 3, kProcess), std::bad_alloc);
  worker_.OnRequest({});
  EXPECT_TRUE(IsForgottenAfter(OpenFileAt(u"\\a")));
}

}  // namespace
}  // namespace zv::testing
