#include "platform/file.h"

#include <gtest/gtest.h>

#include "platform/error.h"
#include "tests/platform/test_folder.h"

namespace zv {
namespace {

class FileTest : public ::testing::Test {
 protected:
  File Open(TextView leaf, Access access, Disposition disposition) {
    return File::Open(folder_ / leaf, access, disposition);
  }
  void Put(TextView leaf, std::string_view bytes) {
    Open(leaf, Access::kWrite, Disposition::kCreateAlways).Write(bytes);
  }
  std::string Get(TextView leaf) {
    return Open(leaf, Access::kRead, Disposition::kOpenExisting).ReadAll();
  }

  testing::TestFolder folder_;
};

TEST_F(FileTest, OpenExistingRefusesAMissingFile) {
  EXPECT_FALSE(Open(u"none", Access::kRead, Disposition::kOpenExisting));
  EXPECT_EQ(LastError(), kErrorFileNotFound);
  EXPECT_FALSE(Open(u"none", Access::kReadWrite, Disposition::kOpenExisting));
  EXPECT_FALSE(FileExists(folder_ / u"none"));
}

TEST_F(FileTest, OpenExistingTellsAFileWhoseFolderIsMissingApartFromOneItCannotOpen) {
  const auto is_absent = [] {
    return LastError() == kErrorFileNotFound || LastError() == kErrorPathNotFound;
  };
  Put(u"file", "");
  for (const TextView leaf : {u"none\\deeper", u"file\\deeper"}) {
    SetLastError(0);
    EXPECT_FALSE(Open(leaf, Access::kRead, Disposition::kOpenExisting));
    EXPECT_TRUE(is_absent()) << LastError();
  }
  ASSERT_TRUE(MakeFolders(folder_ / u"folder"));
  EXPECT_FALSE(Open(u"folder", Access::kRead, Disposition::kOpenExisting));
  EXPECT_FALSE(is_absent()) << LastError();
}

TEST_F(FileTest, IsAbsentWhereNothingStandsOrCan) {
  Put(u"file", "");
  for (const TextView leaf : {u"none", u"none\\deeper", u"file\\deeper"}) {
    EXPECT_TRUE(IsAbsent(folder_ / leaf)) << LastError();
    EXPECT_FALSE(FileExists(folder_ / leaf));
  }
  EXPECT_FALSE(IsAbsent(folder_ / u"FILE"));
  EXPECT_FALSE(IsAbsent(folder_.path()));
}

TEST_F(FileTest, OpenAlwaysMakesAMissingFileAndKeepsContents) {
  EXPECT_TRUE(Open(u"a", Access::kReadWrite, Disposition::kOpenAlways));
  EXPECT_EQ(Get(u"a"), "");
  Put(u"a", "kept");
  EXPECT_TRUE(Open(u"a", Access::kWrite, Disposition::kOpenAlways));
  EXPECT_EQ(Get(u"a"), "kept");
}

TEST_F(FileTest, CreateAlwaysEmptiesAnExistingFile) {
  Put(u"a", "something long");
  EXPECT_TRUE(Open(u"a", Access::kWrite, Disposition::kCreateAlways));
  EXPECT_EQ(Get(u"a"), "");
}

TEST_F(FileTest, DoesNotMakeAMissingFolder) {
  EXPECT_FALSE(Open(u"no\\a", Access::kWrite, Disposition::kCreateAlways));
  EXPECT_FALSE(FileExists(folder_ / u"no"));
}

TEST_F(FileTest, DoesNotOpenAFolder) {
  ASSERT_TRUE(MakeFolders(folder_ / u"sub"));
  EXPECT_FALSE(Open(u"sub", Access::kRead, Disposition::kOpenExisting));
  EXPECT_FALSE(Open(u"sub", Access::kReadWrite, Disposition::kOpenAlways));
  EXPECT_NE(LastError(), 0u);
}

TEST_F(FileTest, ReadsAndWritesBinary) {
  const std::string bytes("\r\n\x1A\0\xFF\n", 6);
  Put(u"a", bytes);
  EXPECT_EQ(Get(u"a"), bytes);
}

TEST_F(FileTest, ReadGivesFewerBytesOnlyAtTheEnd) {
  Put(u"a", "0123456789");
  File file = Open(u"a", Access::kRead, Disposition::kOpenExisting);
  char buffer[8];
  EXPECT_EQ(file.Read(buffer, 8), 8u);
  EXPECT_EQ(file.Read(buffer, 8), 2u);
  EXPECT_EQ(std::string_view(buffer, 2), "89");
  EXPECT_EQ(file.Read(buffer, 8), 0u);
}

TEST_F(FileTest, ReadAllBeginsAtThePosition) {
  Put(u"a", "0123456789");
  File file = Open(u"a", Access::kRead, Disposition::kOpenExisting);
  file.Seek(4);
  EXPECT_EQ(file.ReadAll(), "456789");
  EXPECT_EQ(file.ReadAll(), "");
  file.Seek(100);
  EXPECT_EQ(file.ReadAll(), "");
}

TEST_F(FileTest, WritesInPlace) {
  Put(u"a", "0123456789");
  File file = Open(u"a", Access::kWrite, Disposition::kOpenExisting);
  file.Seek(3);
  file.Write("xyz", 3);
  EXPECT_EQ(file.Size(), 10);
  EXPECT_EQ(Get(u"a"), "012xyz6789");
}

TEST_F(FileTest, AWriteBehindTheEndFillsWithZeros) {
  File file = Open(u"a", Access::kReadWrite, Disposition::kCreateAlways);
  file.Seek(3);
  file.Write("x");
  EXPECT_EQ(Get(u"a"), std::string("\0\0\0x", 4));
}

TEST_F(FileTest, SeekToEndGivesTheSize) {
  Put(u"a", "12345");
  File file = Open(u"a", Access::kReadWrite, Disposition::kOpenExisting);
  EXPECT_EQ(file.SeekToEnd(), 5);
  file.Write("6");
  EXPECT_EQ(file.Size(), 6);
}

TEST_F(FileTest, SizesPast4GiBAreWhole) {
  constexpr int64_t kSize = (int64_t{5} << 30) + 1;
  File file = Open(u"a", Access::kReadWrite, Disposition::kCreateAlways);
  file.Seek(kSize - 1);
  file.Write("x");
  EXPECT_EQ(file.Size(), kSize);
  EXPECT_EQ(FindPath(folder_ / u"a")->size, kSize);
}

TEST_F(FileTest, SetSizeCutsAndKeepsThePosition) {
  File file = Open(u"a", Access::kReadWrite, Disposition::kCreateAlways);
  file.Write("0123456789");
  file.Seek(2);
  file.SetSize(5);
  file.Write("x");
  file.SetSize(7);
  file.Seek(0);
  EXPECT_EQ(file.ReadAll(), std::string("01x34\0\0", 7));
}

TEST_F(FileTest, ANegativePositionThrowsAFileError) {
  File file = Open(u"a", Access::kReadWrite, Disposition::kCreateAlways);
  try {
    file.Seek(-1);
    FAIL() << "no error";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::kFile);
    EXPECT_NE(error.code(), 0u);
    EXPECT_FALSE(error.text().empty());
  }
}

TEST_F(FileTest, WritingWithoutTheRightThrowsAFileError) {
  Put(u"a", "x");
  File file = Open(u"a", Access::kRead, Disposition::kOpenExisting);
  try {
    file.Write("y");
    FAIL() << "no error";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::kFile);
    EXPECT_NE(error.code(), 0u);
  }
}

TEST_F(FileTest, ReadingWithoutTheRightThrows) {
  File file = Open(u"a", Access::kWrite, Disposition::kCreateAlways);
  char byte;
  EXPECT_THROW(file.Read(&byte, 1), Error);
}

TEST_F(FileTest, AClosedFileThrows) {
  File file = Open(u"a", Access::kReadWrite, Disposition::kCreateAlways);
  file.CloseWritten();
  EXPECT_FALSE(file.is_open());
  char byte;
  EXPECT_THROW(file.Read(&byte, 1), Error);
  EXPECT_THROW(file.Write("x"), Error);
  EXPECT_THROW(file.Size(), Error);
  file.CloseWritten();
  file.Close();
}

TEST_F(FileTest, AMovedFromFileIsClosed) {
  File first = Open(u"a", Access::kReadWrite, Disposition::kCreateAlways);
  File second = std::move(first);
  EXPECT_FALSE(first.is_open());  // NOLINT(bugprone-use-after-move)
  second.Write("x");
  File third = Open(u"b", Access::kReadWrite, Disposition::kCreateAlways);
  third = std::move(second);
  third.Write("y");
  EXPECT_EQ(Get(u"a"), "xy");
}

TEST_F(FileTest, SharesEverythingWithOthers) {
  File writer = Open(u"a", Access::kReadWrite, Disposition::kCreateAlways);
  File other = Open(u"a", Access::kReadWrite, Disposition::kOpenExisting);
  ASSERT_TRUE(other);
  writer.Write("seen");
  EXPECT_EQ(other.ReadAll(), "seen");
  EXPECT_TRUE(Open(u"a", Access::kWrite, Disposition::kCreateAlways));
  EXPECT_TRUE(MoveToNew(folder_ / u"a", folder_ / u"b"));
  EXPECT_TRUE(RemoveFile(folder_ / u"b"));
}

TEST_F(FileTest, FindsNamesCaseBlind) {
  ASSERT_TRUE(MakeFolders(folder_ / u"Cache@User"));
  Put(u"Cache@User\\\u00C4rger.TXT", "found");
  EXPECT_EQ(Get(u"cache@USER\\\u00E4RGER.txt"), "found");
  EXPECT_TRUE(FileExists(folder_ / u"CACHE@user"));
  EXPECT_EQ(FindPath(folder_ / u"cache@user\\\u00E4rger.txt")->name, u"\u00C4rger.TXT");
}

TEST_F(FileTest, CreatingUnderAnotherCaseOpensTheFileThatIsThere) {
  Put(u"Name.txt", "old");
  Open(u"NAME.TXT", Access::kReadWrite, Disposition::kOpenAlways).Append("+");
  EXPECT_EQ(Get(u"Name.txt"), "old+");
  Put(u"nAmE.tXt", "new");
  EXPECT_EQ(Get(u"Name.txt"), "new");
  EXPECT_EQ(ListFolder(folder_.path()).size(), 1u);
}

TEST_F(FileTest, ANameThatIsGoneIsNotFoundUnderAnotherCase) {
  Put(u"a", "");
  EXPECT_TRUE(FileExists(folder_ / u"A"));
  ASSERT_TRUE(RemoveFile(folder_ / u"a"));
  EXPECT_FALSE(FileExists(folder_ / u"A"));
  Put(u"A", "");
  EXPECT_TRUE(FileExists(folder_ / u"a"));
}

TEST_F(FileTest, TakesBothSeparatorsAndFollowsDots) {
  ASSERT_TRUE(MakeFolders(folder_ / u"x\\y"));
  Put(u"x\\y\\a", "here");
  EXPECT_EQ(Get(u"x/y/a"), "here");
  EXPECT_EQ(Get(u"x\\.\\y\\..\\y\\\\a"), "here");
}

TEST_F(FileTest, KeepsDotsAndBlanksAtTheEndOfAName) {
  Put(u"a", "1");
  Put(u"a.", "2");
  Put(u"a ", "3");
  EXPECT_EQ(Get(u"a"), "1");
  EXPECT_EQ(Get(u"a."), "2");
  EXPECT_EQ(Get(u"a "), "3");
  // Other programs on Windows would take these names for the first one.
  for (const TextView name : {u"a.", u"a "}) EXPECT_TRUE(RemoveFile(folder_ / name));
  EXPECT_EQ(Get(u"a"), "1");
}

TEST_F(FileTest, RefusesANameWithAZero) {
  EXPECT_FALSE(Open(TextView(u"a\0b", 3), Access::kWrite, Disposition::kCreateAlways));
  EXPECT_NE(LastError(), 0u);
  EXPECT_FALSE(FileExists(folder_ / u"a"));
}

TEST_F(FileTest, TakesPathsPastTheOldLimit) {
  Text deep = folder_.path();
  for (int i = 0; i < 4; ++i) deep += u"\\" + Text(100, u'd');
  ASSERT_TRUE(MakeFolders(deep));
  const Text path = deep + u"\\" + Text(200, u'f');
  File::Open(path, Access::kWrite, Disposition::kCreateAlways).Write("deep");
  EXPECT_EQ(File::Open(path, Access::kRead, Disposition::kOpenExisting).ReadAll(), "deep");
  ASSERT_EQ(ListFolder(deep).size(), 1u);
  EXPECT_EQ(ListFolder(deep)[0].name, Text(200, u'f'));
}

TEST_F(FileTest, IsClaimedByOneAtATime) {
  Put(u"a", "content");
  {
    File first = Open(u"a", Access::kReadWrite, Disposition::kOpenExisting);
    File second = Open(u"a", Access::kReadWrite, Disposition::kOpenExisting);
    EXPECT_TRUE(first.Claim());
    EXPECT_FALSE(second.Claim());
    EXPECT_EQ(second.ReadAll(), "content");
    second.Append(" and more");
    first.Close();
    EXPECT_TRUE(second.Claim());
  }
  EXPECT_EQ(Get(u"a"), "content and more");
  EXPECT_TRUE(Open(u"a", Access::kWrite, Disposition::kOpenExisting).Claim());
}

}  // namespace
}  // namespace zv
