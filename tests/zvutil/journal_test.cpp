#include "zvutil/journal.h"

#include "tests/zvutil/zvutil_fixture.h"

namespace zv::testing {
namespace {

class JournalTest : public SyncAccountTest {};

TEST_F(JournalTest, IsOneLineWithoutItsEnd) {
  WriteFileBytes(Journal(u"Source.txt"), std::string("/\0D\0o\0c\0s\0/\0\r\0\n\0", 16));
  EXPECT_EQ(ReadJournal(u"Source.txt"), u"/Docs/");
}

TEST_F(JournalTest, KeepsBlanksAndWhateverElseAPathHolds) {
  WriteJournal(u"Source.txt", u"/ a & b #1 \u65E5\u672C/");
  EXPECT_EQ(ReadJournal(u"Source.txt"), u"/ a & b #1 \u65E5\u672C/");
}

TEST_F(JournalTest, ThatIsMissingOrEmptySaysNothing) {
  EXPECT_EQ(ReadJournal(u"Source.txt"), std::nullopt);
  WriteFileBytes(Journal(u"Source.txt"), "");
  EXPECT_EQ(ReadJournal(u"Source.txt"), std::nullopt);
  WriteJournal(u"Source.txt", u"");
  EXPECT_EQ(ReadJournal(u"Source.txt"), std::nullopt);
}

TEST_F(JournalTest, TellsFilesFromFoldersByTheMark) {
  WriteJournal(u"Delete_src.txt", u"F_/a/F_b.txt");
  const auto file = ReadJournalEntry(u"Delete_src.txt");
  ASSERT_TRUE(file);
  EXPECT_FALSE(file->is_folder);
  EXPECT_EQ(file->path, u"/a/F_b.txt");
  WriteJournal(u"Delete_src.txt", u"D_/a");
  const auto folder = ReadJournalEntry(u"Delete_src.txt");
  ASSERT_TRUE(folder);
  EXPECT_TRUE(folder->is_folder);
  EXPECT_EQ(folder->path, u"/a");
}

TEST_F(JournalTest, WithoutAMarkOrAPathNamesNothing) {
  for (const TextView line : {u"/a/b.txt", u"F", u"F_", u"D_", u"X_/a"}) {
    WriteJournal(u"Delete_src.txt", line);
    EXPECT_FALSE(ReadJournalEntry(u"Delete_src.txt")) << ToUtf8(line);
  }
}

}  // namespace
}  // namespace zv::testing
