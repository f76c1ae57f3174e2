#include <gtest/gtest.h>

#include "platform/file.h"
#include "platform/registry.h"
#include "platform/shell.h"
#include "tests/platform/system_fixture.h"

namespace zv {
namespace {

class ProfileTest : public ::testing::Test {
 protected:
  ProfileTest() {
    MakeFolders(folder_);
    RemoveFile(file_);
  }
  ~ProfileTest() override { RemoveFile(file_); }

  void Write(std::string_view bytes) {
    File::Open(file_, Access::kWrite, Disposition::kCreateAlways).Write(bytes);
  }
  Text Read(TextView section, TextView key, size_t max_chars = 512) {
    return ReadProfileText(file_, section, key, max_chars);
  }

  const testing::TemporaryHome home_;
  const Text folder_ = LocalAppDataFolder() + u"\\ZVWorkerTests";
  const Text file_ = folder_ + u"\\quota.ini";
};

TEST_F(ProfileTest, ReadsAnEntry) {
  Write("[ZVSYNC]\r\nZVSyncUsedQuota=12345\r\n");
  EXPECT_EQ(Read(u"ZVSYNC", u"ZVSyncUsedQuota"), u"12345");
}

TEST_F(ProfileTest, NamesAreCaseBlind) {
  Write("[zvsync]\r\nzvsyncusedquota=1\r\n");
  EXPECT_EQ(Read(u"ZVSYNC", u"ZVSyncUsedQuota"), u"1");
}

TEST_F(ProfileTest, BlanksAroundNamesAndValuesDoNotCount) {
  Write("  [ZVSYNC]  \r\n \t ZVSyncUsedQuota \t = \t 7 8 \t \r\n");
  EXPECT_EQ(Read(u"ZVSYNC", u"ZVSyncUsedQuota"), u"7 8");
}

TEST_F(ProfileTest, OnePairOfQuotesIsStripped) {
  Write("[s]\na=\"1 2 \"\nb='3'\nc=\"4\nd=\"\"5\"\"\ne=\"\n");
  EXPECT_EQ(Read(u"s", u"a"), u"1 2 ");
  EXPECT_EQ(Read(u"s", u"b"), u"3");
  EXPECT_EQ(Read(u"s", u"c"), u"\"4");
  EXPECT_EQ(Read(u"s", u"d"), u"\"5\"");
  EXPECT_EQ(Read(u"s", u"e"), u"\"");
}

TEST_F(ProfileTest, WhatIsMissingIsEmpty) {
  EXPECT_EQ(Read(u"s", u"a"), u"");
  Write("[other]\na=1\n[s]\nb=2\nc=\nd\n");
  EXPECT_EQ(Read(u"s", u"a"), u"");
  EXPECT_EQ(Read(u"s", u"c"), u"");
  EXPECT_EQ(Read(u"s", u"d"), u"");
  EXPECT_EQ(Read(u"none", u"a"), u"");
}

TEST_F(ProfileTest, AnEntryBelongsToItsSection) {
  Write("a=0\n[one]\na=1\n[two]\na=2\n");
  EXPECT_EQ(Read(u"one", u"a"), u"1");
  EXPECT_EQ(Read(u"two", u"a"), u"2");
}

TEST_F(ProfileTest, TheFirstOfEqualEntriesCounts) {
  Write("[s]\na=1\na=2\n");
  EXPECT_EQ(Read(u"s", u"a"), u"1");
}

TEST_F(ProfileTest, CommentsAreNoEntries) {
  Write("[s]\n;a=1\n ; b=2\nc=3 ; kept\n");
  EXPECT_EQ(Read(u"s", u"a"), u"");
  EXPECT_EQ(Read(u"s", u"b"), u"");
  EXPECT_EQ(Read(u"s", u"c"), u"3 ; kept");
}

TEST_F(ProfileTest, AValueMayHoldEqualsSigns) {
  Write("[s]\na=b=c\n");
  EXPECT_EQ(Read(u"s", u"a"), u"b=c");
}

TEST_F(ProfileTest, ALongValueIsCut) {
  Write("[s]\na=123456\n");
  EXPECT_EQ(Read(u"s", u"a", 7), u"123456");
  EXPECT_EQ(Read(u"s", u"a", 6), u"12345");
  EXPECT_EQ(Read(u"s", u"a", 1), u"");
  EXPECT_EQ(Read(u"s", u"a", 0), u"");
}

TEST_F(ProfileTest, ReadsUtf16WithItsMark) {
  Write("\xFF\xFE" + ToUtf16LeBytes(u"[s]\r\na=\u4E16\u00E9\r\nb=2"));
  EXPECT_EQ(Read(u"s", u"a"), u"\u4E16\u00E9");
  EXPECT_EQ(Read(u"s", u"b"), u"2");
}

TEST_F(ProfileTest, ReadsEightBitText) {
  Write("[s]\r\na=caf\xE9 and more plain text\r\n");
  EXPECT_EQ(Read(u"s", u"a"), u"caf\u00E9 and more plain text");
}

TEST_F(ProfileTest, GarbageHoldsNoEntry) {
  Write(std::string("\0\x01[[]]=\n]\n[\n=\n[s\na=9\n", 22));
  EXPECT_EQ(Read(u"t", u"a"), u"");
}

}  // namespace
}  // namespace zv
