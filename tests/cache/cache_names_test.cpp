#include "cache/cache_names.h"

#include <gtest/gtest.h>

#include "cache/time_file.h"
#include "platform/file.h"
#include "tests/support/test_home.h"

namespace zv {
namespace {

using testing::kApplicationSubKey;
using testing::kConnectionSubKey;
using testing::ReadFileBytes;
using testing::WriteFileBytes;

class CacheFolder : public testing::HomeTest {
 protected:
  Text With(TextView application_path, TextView user) const {
    home_.SetSetting(kApplicationSubKey, u"Application Path", application_path);
    home_.SetSetting(kConnectionSubKey, u"UserName", user);
    return CacheNames().folder();
  }
};

TEST_F(CacheFolder, LiesInTheApplicationFolder) {
  EXPECT_EQ(With(u"D:\\Apps\\Host", u"me"), u"D:\\Apps\\Host\\Cache@me\\");
}

TEST_F(CacheFolder, LeavesProgramFilesForTheProductFolderOfTheDrive) {
  EXPECT_EQ(With(u"C:\\Program Files (x86)\\Maker\\Host", u"me"), u"C:\\Stratel Drive\\Cache@me\\");
}

TEST_F(CacheFolder, IsCutAtTheFirstProgramFiles) {
  EXPECT_EQ(With(u"C:\\x\\Program Files\\y\\Program Files", u"me"),
            u"C:\\x\\Stratel Drive\\Cache@me\\");
}

TEST_F(CacheFolder, WithoutSettingsIsAtTheRootOfTheDriveWithoutAUser) {
  EXPECT_EQ(CacheNames().folder(), u"\\Cache@\\");
}

TEST_F(CacheFolder, HasAWorkFolderBesideIt) {
  With(u"C:\\Apps", u"me");
  EXPECT_EQ(CacheNames().work_folder(), u"C:\\Apps\\Work-Cache@me\\");
}

class CacheNamesTest : public testing::HomeTest {
 protected:
  const CacheNames names_{u"C:\\K\\"};
};

TEST_F(CacheNamesTest, EncodesWhatFileNamesMayNotHold) {
  EXPECT_EQ(EncodeCacheName(u"\"*/:<>?\\|"), u"%22%2A%2F%3A%3C%3E%3F%5C%7C");
}

TEST_F(CacheNamesTest, LeavesEverythingElseAsItIs) {
  EXPECT_EQ(EncodeCacheName(u"a b#c%d.\u00E4\u4E2D~$'&+"), u"a b#c%d.\u00E4\u4E2D~$'&+");
}

TEST_F(CacheNamesTest, RootAndEmptyPathShareOneListing) {
  EXPECT_EQ(names_.GetDirRecordName(u"/"), u"C:\\K\\dir#ZV");
  EXPECT_EQ(names_.GetDirRecordName(u""), u"C:\\K\\dir#ZV");
}

TEST_F(CacheNamesTest, ATrailingSlashMakesNoDifferenceToTheListing) {
  EXPECT_EQ(names_.GetDirRecordName(u"/Docs/2009/"), u"C:\\K\\dir#ZV#Docs#2009");
  EXPECT_EQ(names_.GetDirRecordName(u"/Docs/2009"), u"C:\\K\\dir#ZV#Docs#2009");
}

TEST_F(CacheNamesTest, BackslashesCountAsSlashes) {
  EXPECT_EQ(names_.GetDirRecordName(u"\\Docs\\2009"), u"C:\\K\\dir#ZV#Docs#2009");
}

TEST_F(CacheNamesTest, ContentNamesAreEncodedAndEndInAMark) {
  EXPECT_EQ(names_.GetFileRecordName(u"/Docs/a:b.txt"), u"C:\\K\\file#ZV#Docs#a%3Ab.txt#");
}

TEST_F(CacheNamesTest, AFoldersTimeFileIsBesideItsListingAFilesBesideItsContent) {
  EXPECT_EQ(names_.GetTimeFileName(u"/Docs/2009/"), u"C:\\K\\dir#ZV#Docs#2009.time");
  EXPECT_EQ(names_.GetTimeFileName(u"/Docs/2009"), u"C:\\K\\file#ZV#Docs#2009#.time");
  EXPECT_EQ(names_.GetTimeFileName(u"/"), u"C:\\K\\dir#ZV.time");
}

TEST_F(CacheNamesTest, AQuestionMarkIsEncodedInFileNames) {
  EXPECT_EQ(names_.GetFileRecordName(u"/a?b"), u"C:\\K\\file#ZV#a%3Fb#");
}

TEST_F(CacheNamesTest, ASiblingWhoseNameBeginsAlikeDoesNotLieBeneath) {
  EXPECT_TRUE(IsAtOrBeneath(u"/a/b", u"/a/b"));
  EXPECT_TRUE(IsAtOrBeneath(u"/a/b/c/d", u"/a/b"));
  EXPECT_FALSE(IsAtOrBeneath(u"/a/bc", u"/a/b"));
  EXPECT_FALSE(IsAtOrBeneath(u"/a", u"/a/b"));
}

TEST_F(CacheNamesTest, ParentAndLeafOfAPath) {
  EXPECT_EQ(PathParent(u"/a/b/c"), u"/a/b");
  EXPECT_EQ(PathParent(u"/a"), u"/");
  EXPECT_EQ(PathParent(u"a"), u"/");
  EXPECT_EQ(FolderPart(u"/a/b/c"), u"/a/b");
  EXPECT_EQ(FolderPart(u"/a"), u"");
  EXPECT_EQ(FolderPart(u"a"), u"");
  EXPECT_EQ(PathLeaf(u"/a/b"), u"b");
  EXPECT_EQ(PathLeaf(u"b"), u"b");
  EXPECT_EQ(PathLeaf(u"/a/"), u"");
}

class TimeFile : public testing::HomeTest {
 protected:
  TimeFile() { MakeFolders(u"C:\\Apps\\Host\\K"); }
  const CacheNames names_{u"C:\\Apps\\Host\\K\\"};
};

TEST_F(TimeFile, HoldsEightBytesLowestFirst) {
  EXPECT_TRUE(SetFileTimeEntry(names_, u"/a.txt", {0x01CA'2345'6789'ABCD}));
  EXPECT_EQ(ReadFileBytes(u"C:\\Apps\\Host\\K\\file#ZV#a.txt#.time"),
            "\xCD\xAB\x89\x67\x45\x23\xCA\x01");
}

TEST_F(TimeFile, ReadsBackWhatWasStored) {
  FileTime time;
  SetFileTimeEntry(names_, u"/d/", {123});
  SetFileTimeEntry(names_, u"/d/", {456});
  EXPECT_TRUE(GetFileTimeEntry(names_, u"/d/", &time));
  EXPECT_EQ(time.value, 456U);
}

TEST_F(TimeFile, OfAFolderAndOfAFileAreTwo) {
  FileTime time;
  SetFileTimeEntry(names_, u"/d/", {123});
  EXPECT_FALSE(GetFileTimeEntry(names_, u"/d", &time));
}

TEST_F(TimeFile, MissingOrCutShortIsNoTime) {
  FileTime time{7};
  EXPECT_FALSE(GetFileTimeEntry(names_, u"/a", &time));
  WriteFileBytes(u"C:\\Apps\\Host\\K\\file#ZV#a#.time", "1234567");
  EXPECT_FALSE(GetFileTimeEntry(names_, u"/a", &time));
  EXPECT_EQ(time.value, 7U);
}

TEST_F(TimeFile, ThatCannotBeMadeIsNoFailure) {
  EXPECT_TRUE(SetFileTimeEntry(CacheNames(u"C:\\missing\\"), u"/a", {1}));
}

// 2009-02-13 10:00:00 UTC and fractions of seconds.
constexpr uint64_t kTen = 128'789'928'000'000'000;
constexpr uint64_t kTenth = 1'000'000;

TEST(CompareFileTime, TakesTimesOfOneSecondAsEqual) {
  EXPECT_EQ(CompareFileTime({kTen}, {kTen + 9 * kTenth}), 1U);
}

TEST(CompareFileTime, TellsNeighbouringSecondsApart) {
  EXPECT_EQ(CompareFileTime({kTen + 9 * kTenth}, {kTen + 10 * kTenth}), 0U);
}

TEST(CompareFileTime, TellsNoTimeFromATime) { EXPECT_EQ(CompareFileTime({0}, {kTen}), 0U); }

}  // namespace
}  // namespace zv
