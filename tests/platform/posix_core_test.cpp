// What is promised about Linux alone.
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <vector>

#include "platform/clock.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/format.h"
#include "platform/home.h"
#include "platform/posix/folder_index.h"
#include "platform/posix/process_name.h"
#include "platform/posix/rename_new.h"
#include "platform/shared/stored_name.h"
#include "platform/thread.h"
#include "tests/platform/child_process.h"
#include "tests/platform/test_folder.h"
#include "tests/support/no_files_left.h"

namespace zv {
namespace {

using testing::ChildProcess;
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

TEST_F(LinuxFileTest, WhatTheSystemDoesNotTellIsNeitherThereNorAbsent) {
  std::filesystem::create_symlink("loop", folder_.native() / "loop");
  for (const TextView leaf : {u"loop", u"loop\\x", u"LOOP"}) {
    EXPECT_FALSE(FileExists(folder_ / leaf));
    EXPECT_FALSE(IsAbsent(folder_ / leaf));
    EXPECT_FALSE(FindPath(folder_ / leaf));
    EXPECT_EQ(LastError(), static_cast<uint32_t>(ELOOP));
  }
  EXPECT_TRUE(IsAbsent(folder_ / Text(5000, u'x')));
}

TEST_F(LinuxFileTest, ANameUnderAnotherCaseIsNotAbsentWhereItsFolderCannotBeRead) {
  std::ofstream(folder_.native() / "name") << "old";
  std::ofstream(folder_.native() / "new") << "new";
  const Text other_case = folder_ / u"NAME";
  {
    const testing::NoFilesLeft none;
    const auto told = [] { return LastError() == static_cast<uint32_t>(EMFILE); };
    EXPECT_FALSE(IsAbsent(other_case));
    EXPECT_FALSE(FindPath(other_case));
    EXPECT_TRUE(told()) << LastError();
    EXPECT_FALSE(File::Open(other_case, Access::kRead, Disposition::kOpenExisting));
    EXPECT_TRUE(told()) << LastError();
    EXPECT_FALSE(MoveOver(folder_ / u"new", other_case));
    EXPECT_TRUE(told()) << LastError();
  }
  EXPECT_EQ(CountNative(), 2u);
  EXPECT_TRUE(MoveOver(folder_ / u"new", other_case));
  EXPECT_EQ(CountNative(), 1u);
}

TEST_F(LinuxFileTest, AFolderThatIsNotToldWholeIsNotTakenForEmpty) {
  std::filesystem::create_symlink("loop", folder_.native() / "loop");
  EXPECT_THROW(ListFolder(folder_ / u"loop"), Error);
  {
    const testing::NoFilesLeft none;
    EXPECT_THROW(ListFolder(folder_.path()), Error);
  }
  EXPECT_EQ(LastError(), static_cast<uint32_t>(EMFILE));
  const Text long_name(300, u'x');
  Put(long_name, "1");
  const auto true_name = folder_.native() / ".zvnames" / StoredNameOf(long_name);
  std::filesystem::remove(true_name);
  std::filesystem::create_symlink(true_name.filename(), true_name);
  EXPECT_THROW(ListFolder(folder_.path()), Error);
  EXPECT_EQ(FindPath(folder_ / long_name)->size, 1);
}

TEST_F(LinuxFileTest, UnpairedSurrogatesComeBackAsTheyWent) {
  const char16_t units[] = {u'a', 0xD800, u'b', 0xDFFF};
  const Text name(units, 4);
  Put(name, "1");
  ASSERT_EQ(ListFolder(folder_.path()).size(), 1u);
  EXPECT_EQ(ListFolder(folder_.path())[0].name, name);
  EXPECT_EQ(Get(name), "1");
}

TEST_F(LinuxFileTest, ANameOf256BytesIsStoredUnderAShorterOne) {
  Put(Text(255, u'x'), "1");
  EXPECT_EQ(CountNative(), 1u);
  Put(Text(85, u'\u4E2D') + u"x", "2");
  EXPECT_EQ(CountNative(), 3u);
  EXPECT_EQ(Get(Text(85, u'\u4E2D') + u"X"), "2");
}

TEST_F(LinuxFileTest, ReadingAFolderFindsWhatTheRememberedNamesFind) {
  Put(u"N\u00C4me", "1");
  for (const std::string_view wanted : {"n\xC3\xA4ME", "N\xC3\x84me", "none"}) {
    EXPECT_EQ(FindNameByReading(folder_.native(), wanted),
              FindNameNoCase(folder_.native(), wanted));
  }
  EXPECT_EQ(FindNameByReading(folder_.native(), "n\xC3\xA4ME"), "N\xC3\x84me");
  EXPECT_EQ(FindNameByReading(folder_.native() / "none", "x"), std::nullopt);
}

TEST_F(LinuxFileTest, RenamingByLinkNeverReplaces) {
  Put(u"a", "1");
  Put(u"b", "2");
  EXPECT_FALSE(RenameByLink(folder_.native() / "a", folder_.native() / "b"));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_TRUE(RenameByLink(folder_.native() / "a", folder_.native() / "c"));
  EXPECT_FALSE(FileExists(folder_ / u"a"));
  EXPECT_EQ(Get(u"b"), "2");
  EXPECT_EQ(Get(u"c"), "1");
}

// Until its end this thread asks for files as a user who owns nothing, whoever runs the test.
class NobodysThread {
 public:
  NobodysThread() : before_(setfsuid(kNobody)) {}
  ~NobodysThread() { setfsuid(static_cast<uid_t>(before_)); }
  NobodysThread(const NobodysThread&) = delete;
  NobodysThread& operator=(const NobodysThread&) = delete;

  static constexpr uid_t kNobody = 65534;

 private:
  const int before_;
};

TEST_F(LinuxFileTest, RenamingByLinkLeavesOneNameWhenTheFirstOneCannotGo) {
  namespace fs = std::filesystem;
  constexpr auto kMayWrite =
      fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
  const fs::path closed = folder_.native() / "closed", open = folder_.native() / "open";
  fs::create_directory(closed);
  fs::create_directory(open);
  for (const fs::path& file : {closed / "a", open / "a"}) {
    std::ofstream(file) << "1";
    fs::permissions(file, fs::perms::all);  // who may write a file may link it
  }
  fs::permissions(open, fs::perms::all);
  fs::permissions(closed, fs::perms::all & ~kMayWrite);
  {
    const NobodysThread nobody;
    EXPECT_TRUE(RenameByLink(open / "a", open / "b"));
    EXPECT_FALSE(RenameByLink(closed / "a", open / "c"));
    EXPECT_EQ(errno, EACCES);
  }
  EXPECT_TRUE(fs::exists(closed / "a"));
  EXPECT_FALSE(fs::exists(open / "c"));
  fs::permissions(closed, fs::perms::owner_all);
}

TEST_F(LinuxFileTest, ThreadsFindTheirOwnFilesCaseBlindAtOnce) {
  std::vector<Thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.push_back(Thread::Start([this, thread] {
      uint32_t found = 0;
      for (int i = 0; i < 200; ++i) {
        Put(Format(u"Name-%d-%d", thread, i), "1");
        if (FileExists(folder_ / Format(u"NAME-%d-%d", thread, i))) ++found;
        RemoveFile(folder_ / Format(u"name-%d-%d", thread, i));
        if (!FileExists(folder_ / Format(u"NAME-%d-%d", thread, i))) ++found;
      }
      return found;
    }));
  }
  for (Thread& thread : threads) EXPECT_EQ(thread.Join(), 400u);
}

// Sets a variable of the environment until the end of the test; null takes it away.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    Set(value);
  }
  ~ScopedVariable() { Set(old_ ? old_->c_str() : nullptr); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  void Set(const char* value) {
    if (value) {
      ::setenv(name_, value, 1);
    } else {
      ::unsetenv(name_);
    }
  }

  const char* name_;
  std::optional<std::string> old_;
};

bool ChildHasHome(const std::filesystem::path& expected) {
  return ChildProcess("core_child", {"home", expected.string()}).Wait() == 0;
}

TEST(Home, ComesFromTheEnvironment) {
  const TestFolder folder;
  const std::filesystem::path& root = folder.native();
  const ScopedVariable user("HOME", (root / "user").c_str());
  {
    const ScopedVariable own("ZVWORKER_HOME", (root / "own//").c_str());
    const ScopedVariable data("XDG_DATA_HOME", (root / "data").c_str());
    EXPECT_TRUE(ChildHasHome(root / "own"));
    EXPECT_TRUE(std::filesystem::is_directory(root / "own"));
  }
  const ScopedVariable own("ZVWORKER_HOME", nullptr);
  {
    const ScopedVariable data("XDG_DATA_HOME", (root / "data").c_str());
    EXPECT_TRUE(ChildHasHome(root / "data/zvworker"));
  }
  const ScopedVariable data("XDG_DATA_HOME", "relative");
  EXPECT_TRUE(ChildHasHome(root / "user/.local/share/zvworker"));
  EXPECT_TRUE(std::filesystem::is_directory(root / "user/.local/share/zvworker"));
}

TEST(Home, CanBeToldAgain) {
  const TestFolder folder;
  EXPECT_EQ(HomeFolder(), folder.home().string());
  testing::SetHomeFolder((folder.home() / "other///").string());
  EXPECT_EQ(HomeFolder(), (folder.home() / "other").string());
  EXPECT_TRUE(std::filesystem::is_directory(folder.home() / "other"));
}

TEST(DebugOutput, GoesToStderrWhenAskedFor) {
  const TestFolder folder;
  const auto output = [&folder] {
    EXPECT_EQ(ChildProcess("core_child", {"debug", (folder.native() / "out").string()}).Wait(), 0);
    return File::Open(folder / u"out", Access::kRead, Disposition::kOpenExisting).ReadAll();
  };
  {
    const ScopedVariable asked("ZVWORKER_DEBUG", "1");
    EXPECT_EQ(output(), "caf\xC3\xA9\n");
  }
  const ScopedVariable not_asked("ZVWORKER_DEBUG", nullptr);
  EXPECT_EQ(output(), "");
}

TEST(ImageName, IsTheProgramsFileNameUpToItsFifteenthByte) {
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").filename();
  EXPECT_EQ(ImageNameOf(::getpid()), program.substr(0, 15));
}

TEST(ImageName, EndsWithItsFirstLine) {
  const auto rename = [](std::string_view name) { std::ofstream("/proc/self/comm") << name; };
  const std::string before = ImageNameOf(::getpid());
  rename("two\nlines");
  EXPECT_EQ(ImageNameOf(::getpid()), "two");
  rename(before);
}

TEST(ImageName, IsEmptyForNoProcess) {
  EXPECT_EQ(ImageNameOf(0), "");
  EXPECT_EQ(ImageNameOf(-1), "");
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

CalendarTime Local(const char* zone, const CalendarTime& utc) {
  const ScopedVariable here("TZ", zone);
  CalendarTime local;
  EXPECT_TRUE(UtcToLocal(utc, &local));
  return local;
}

TEST(LocalTime, UsesTheRulesOfThatTimeOfTheYear) {
  const char* zone = "EST5EDT,M3.2.0,M11.1.0";
  EXPECT_EQ(Local(zone, {.year = 2026, .month = 1, .day = 1, .hour = 3, .minute = 30}),
            (CalendarTime{.year = 2025, .month = 12, .day = 31, .hour = 22, .minute = 30}));
  EXPECT_EQ(Local(zone, {.year = 2026, .month = 7, .day = 1, .hour = 3, .minute = 30}),
            (CalendarTime{.year = 2026, .month = 6, .day = 30, .hour = 23, .minute = 30}));
}

TEST(LocalTime, FollowsAChangeOfTheZone) {
  const CalendarTime utc = {.year = 2026, .month = 5, .day = 5, .hour = 12, .millisecond = 5};
  EXPECT_EQ(Local("UTC0", utc), utc);
  EXPECT_EQ(Local("IST-5:30", utc).minute, 30);
}

}  // namespace
}  // namespace zv
