// What is promised about Linux alone.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/clock.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/home.h"
#include "tests/platform/test_folder.h"

namespace zv {
namespace {

using testing::TestFolder;

class LinuxFileTest : public ::testing::Test {
 protected:
  void Put(TextView leaf, std::string_view bytes) {
    File::Open(folder_ / leaf, Access::kWrite, Disposition::kCreateAlways).Write(bytes);
  }
  std::string Get(TextView leaf) {
    return File::Open(folder_ / leaf, Access::kRead, Disposition::kOpenExisting).ReadAll();
  }
  size_t CountNative() {
    const auto entries = std::filesystem::directory_iterator(folder_.native());
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
  }

  TestFolder folder_;
};

TEST_F(LinuxFileTest, DrivesAreFoldersOfTheHome) {
  EXPECT_TRUE(MakeFolders(u"q:\\x\\y"));
  EXPECT_TRUE(std::filesystem::is_directory(folder_.home() / "drives/Q/x/y"));
  File::Open(u"Z:\\new", Access::kWrite, Disposition::kCreateAlways).Write("1");
  EXPECT_TRUE(std::filesystem::exists(folder_.home() / "drives/Z/new"));
}

TEST_F(LinuxFileTest, APathWithoutADriveIsOnDriveC) {
  Put(u"a", "1");
  EXPECT_TRUE(FileExists(u"\\Test\\a"));
  EXPECT_TRUE(FileExists(u"Test\\a"));
}

TEST_F(LinuxFileTest, NoPathLeavesItsDrive) {
  EXPECT_TRUE(FileExists(u"C:\\..\\..\\..\\Test"));
  EXPECT_FALSE(FileExists(u"C:\\..\\..\\drives"));
}

TEST_F(LinuxFileTest, AFullDiskThrowsAFileError) {
  std::filesystem::create_symlink("/dev/full", folder_.native() / "full");
  File file = File::Open(folder_ / u"full", Access::kWrite, Disposition::kOpenExisting);
  ASSERT_TRUE(file);
  try {
    file.Write("x");
    FAIL() << "no error";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::kFile);
    EXPECT_EQ(error.code(), kErrorDiskFull);
    EXPECT_EQ(error.text(), u"No space left on device");
  }
}

TEST_F(LinuxFileTest, ACopyThatBreaksOffLeavesNothing) {
  std::filesystem::create_symlink("/dev/full", folder_.native() / "full");
  Put(u"a", "1");
  EXPECT_FALSE(CopyOver(folder_ / u"a", folder_ / u"full"));
  EXPECT_EQ(LastError(), kErrorDiskFull);
  EXPECT_FALSE(FileExists(folder_ / u"full"));
}

TEST_F(LinuxFileTest, AnExactNameGoesBeforeACaseBlindOne) {
  std::ofstream(folder_.native() / "name") << "small";
  std::ofstream(folder_.native() / "NAME") << "capital";
  EXPECT_EQ(Get(u"name"), "small");
  EXPECT_EQ(Get(u"NAME"), "capital");
}

TEST_F(LinuxFileTest, AMoveToAnotherCaseTakesTheNewSpelling) {
  Put(u"name.txt", "1");
  EXPECT_TRUE(MoveToNew(folder_ / u"NAME.txt", folder_ / u"Name.TXT"));
  EXPECT_EQ(ListFolder(folder_.path())[0].name, u"Name.TXT");
  EXPECT_TRUE(MoveOver(folder_ / u"name.txt", folder_ / u"NAME.txt"));
  EXPECT_EQ(ListFolder(folder_.path())[0].name, u"NAME.txt");
}

TEST_F(LinuxFileTest, SeesWhatOthersMakeAndRemove) {
  EXPECT_FALSE(FileExists(folder_ / u"OTHER"));
  std::ofstream(folder_.native() / "other") << "1";
  EXPECT_TRUE(FileExists(folder_ / u"OTHER"));
  std::filesystem::rename(folder_.native() / "other", folder_.native() / "else");
  EXPECT_FALSE(FileExists(folder_ / u"OTHER"));
  EXPECT_TRUE(FileExists(folder_ / u"ELSE"));
  std::filesystem::remove(folder_.native() / "else");
  EXPECT_FALSE(FileExists(folder_ / u"ELSE"));
}

TEST_F(LinuxFileTest, SeesThatAFolderWasReplaced) {
  std::filesystem::create_directory(folder_.native() / "sub");
  std::ofstream(folder_.native() / "sub" / "a") << "1";
  EXPECT_TRUE(FileExists(folder_ / u"sub\\A"));
  std::filesystem::rename(folder_.native() / "sub", folder_.native() / "aside");
  std::filesystem::create_directory(folder_.native() / "sub");
  EXPECT_FALSE(FileExists(folder_ / u"sub\\A"));
  std::ofstream(folder_.native() / "sub" / "b") << "1";
  EXPECT_TRUE(FileExists(folder_ / u"sub\\B"));
  EXPECT_TRUE(FileExists(folder_ / u"aside\\A"));
}

TEST_F(LinuxFileTest, FollowsManyFolders) {
  for (int i = 0; i < 200; ++i) {
    std::filesystem::create_directory(folder_.native() / std::to_string(i));
    std::ofstream(folder_.native() / std::to_string(i) / "file") << i;
  }
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ(Get(FromUtf8(std::to_string(i)) + u"\\FILE"), std::to_string(i));
  }
}

TEST_F(LinuxFileTest, UnpairedSurrogatesComeBackAsTheyWent) {
  const char16_t units[] = {u'a', 0xD800, u'b', 0xDFFF};
  const Text name(units, 4);
  Put(name, "1");
  ASSERT_EQ(ListFolder(folder_.path()).size(), 1u);
  EXPECT_EQ(ListFolder(folder_.path())[0].name, name);
  EXPECT_EQ(Get(name), "1");
}

class LongNameTest : public LinuxFileTest {
 protected:
  const Text long_name_ = u"file#ZV#" + Text(400, u'\u4E2D') + u"#Ende#";
};

TEST_F(LongNameTest, IsListedWhole) {
  Put(long_name_, "1");
  Put(long_name_ + u".time", "2");
  std::vector<Text> names;
  for (const FileInfo& info : ListFolder(folder_.path())) names.push_back(info.name);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<Text>{long_name_, long_name_ + u".time"}));
  EXPECT_EQ(Get(long_name_), "1");
  EXPECT_EQ(Get(long_name_ + u".time"), "2");
}

TEST_F(LongNameTest, IsCaseBlind) {
  Put(long_name_, "1");
  EXPECT_EQ(Get(ToLower(long_name_)), "1");
  Put(ToLower(long_name_), "2");
  EXPECT_EQ(Get(long_name_), "2");
  EXPECT_EQ(FindPath(folder_ / ToLower(long_name_))->name, long_name_);
  EXPECT_EQ(ListFolder(folder_.path()).size(), 1u);
}

TEST_F(LongNameTest, MovesAndChangesItsCase) {
  Put(u"short", "1");
  EXPECT_TRUE(MoveToNew(folder_ / u"short", folder_ / long_name_));
  EXPECT_EQ(ListFolder(folder_.path())[0].name, long_name_);
  EXPECT_TRUE(MoveToNew(folder_ / long_name_, folder_ / ToLower(long_name_)));
  EXPECT_EQ(ListFolder(folder_.path())[0].name, ToLower(long_name_));
  EXPECT_TRUE(MoveToNew(folder_ / long_name_, folder_ / long_name_ + u"2"));
  EXPECT_EQ(ListFolder(folder_.path())[0].name, long_name_ + u"2");
  EXPECT_TRUE(MoveOver(folder_ / long_name_ + u"2", folder_ / u"short"));
  EXPECT_EQ(Get(u"short"), "1");
  EXPECT_EQ(CountNative(), 2u);  // and the folder of true names
}

TEST_F(LongNameTest, LeavesNoTrueNameBehind) {
  Put(long_name_, "1");
  EXPECT_TRUE(CopyOver(folder_ / long_name_, folder_ / long_name_ + u"2"));
  EXPECT_TRUE(RemoveFile(folder_ / long_name_));
  EXPECT_TRUE(RemoveFile(folder_ / long_name_ + u"2"));
  EXPECT_FALSE(FileExists(folder_ / long_name_));
  EXPECT_TRUE(std::filesystem::is_empty(folder_.native() / ".zvnames"));
}

TEST_F(LongNameTest, MayBeAFolder) {
  ASSERT_TRUE(MakeFolders(folder_ / long_name_ + u"\\inner"));
  Put(long_name_ + u"\\inner\\a", "1");
  EXPECT_EQ(Get(long_name_ + u"\\INNER\\a"), "1");
  EXPECT_EQ(ListFolder(folder_.path())[0].name, long_name_);
}

TEST_F(LongNameTest, BeginsWhereTheDiskEnds) {
  Put(Text(255, u'x'), "1");
  EXPECT_EQ(CountNative(), 1u);
  Put(Text(256, u'x'), "2");
  EXPECT_EQ(CountNative(), 3u);
  EXPECT_EQ(Get(Text(255, u'x')), "1");
  EXPECT_EQ(Get(Text(256, u'X')), "2");
}

TEST(Home, ComesFromTheEnvironment) {
  // The process-wide choice was made by then; what is checked is that it can be told again.
  const TestFolder folder;
  EXPECT_EQ(HomeFolder(), folder.home().string());
  testing::SetHomeFolder((folder.home() / "other///").string());
  EXPECT_EQ(HomeFolder(), (folder.home() / "other").string());
  EXPECT_TRUE(std::filesystem::is_directory(folder.home() / "other"));
}

TEST(InternetErrorTexts, AreTheWindowsClients) {
  EXPECT_EQ(SystemErrorText(12002), u"The operation timed out");
  EXPECT_EQ(SystemErrorText(12007), u"The server name or address could not be resolved");
  EXPECT_EQ(SystemErrorText(12029), u"A connection with the server could not be established");
  EXPECT_EQ(SystemErrorText(12030), u"The connection with the server was terminated abnormally");
  EXPECT_EQ(SystemErrorText(12999), u"");
}

TEST(ErrnoTexts, AreTheSystems) {
  EXPECT_EQ(SystemErrorText(EACCES), u"Permission denied");
  EXPECT_EQ(kErrorFileNotFound, static_cast<uint32_t>(ENOENT));
}

class TimeZoneTest : public ::testing::Test {
 protected:
  TimeZoneTest() {
    if (const char* zone = std::getenv("TZ")) old_zone_ = zone;
  }
  ~TimeZoneTest() override {
    if (old_zone_) {
      ::setenv("TZ", old_zone_->c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
  }
  static CalendarTime Local(const char* zone, const CalendarTime& utc) {
    ::setenv("TZ", zone, 1);
    CalendarTime local;
    EXPECT_TRUE(UtcToLocal(utc, &local));
    return local;
  }

  std::optional<std::string> old_zone_;
};

TEST_F(TimeZoneTest, UsesTheRulesOfThatTimeOfTheYear) {
  const char* zone = "EST5EDT,M3.2.0,M11.1.0";
  EXPECT_EQ(Local(zone, {.year = 2026, .month = 1, .day = 1, .hour = 3, .minute = 30}),
            (CalendarTime{.year = 2025, .month = 12, .day = 31, .hour = 22, .minute = 30}));
  EXPECT_EQ(Local(zone, {.year = 2026, .month = 7, .day = 1, .hour = 3, .minute = 30}),
            (CalendarTime{.year = 2026, .month = 6, .day = 30, .hour = 23, .minute = 30}));
}

TEST_F(TimeZoneTest, FollowsAChangeOfTheZone) {
  const CalendarTime utc = {.year = 2026, .month = 5, .day = 5, .hour = 12, .millisecond = 5};
  EXPECT_EQ(Local("UTC0", utc), utc);
  EXPECT_EQ(Local("IST-5:30", utc).minute, 30);
}

}  // namespace
}  // namespace zv
