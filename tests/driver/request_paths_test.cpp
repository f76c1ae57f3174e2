#include "driver/request_paths.h"

#include <gtest/gtest.h>

#include "tests/support/test_home.h"

namespace zv::testing {
namespace {

class RequestPathsTest : public HomeTest {};

TEST_F(RequestPathsTest, TurnsBackslashesIntoSlashes) {
  EXPECT_EQ(ServerPath(u"\\Docs\\a b.txt"), u"/Docs/a b.txt");
  EXPECT_EQ(ServerPath(u""), u"");
}

TEST_F(RequestPathsTest, PutsTheDriveInFrontOfALocalPath) {
  EXPECT_EQ(LocalFullPath(u"\\a"), u"\\a");
  home_.SetSetting(kConnectionSubKey, u"Local Name", u"Y:");
  EXPECT_EQ(LocalFullPath(u"\\a"), u"Y:\\a");
}

TEST_F(RequestPathsTest, KnowsTheShellInAnyCase) {
  RequestRecord request;
  EXPECT_FALSE(IsFromExplorer(request));
  request.SetProcessName(u"Explorer.EXE");
  EXPECT_TRUE(IsFromExplorer(request));
  request.SetProcessName(u"explorer.exe2");
  EXPECT_FALSE(IsFromExplorer(request));
}

TEST_F(RequestPathsTest, DropsTheDriveOfARenameTarget) {
  EXPECT_EQ(RenameTargetPath(u"\\??\\Y:\\x\\y"), u"\\x\\y");
}

TEST_F(RequestPathsTest, DropsServerAndShareOfARenameTarget) {
  home_.SetSetting(kConnectionSubKey, u"UNC Server", u"srv");
  home_.SetSetting(kConnectionSubKey, u"UNC Share", u"share");
  EXPECT_EQ(ServerPath(RenameTargetPath(u"\\??\\UNC\\srv\\share\\x\\y")), u"/x/y");
}

TEST_F(RequestPathsTest, GivesNothingOfARenameTargetThatIsTooShort) {
  home_.SetSetting(kConnectionSubKey, u"UNC Server", u"srv");
  home_.SetSetting(kConnectionSubKey, u"UNC Share", u"share");
  EXPECT_EQ(RenameTargetPath(u""), u"");
  EXPECT_EQ(RenameTargetPath(u"\\??\\Y"), u"");
  EXPECT_EQ(RenameTargetPath(u"\\??\\UNC"), u"");
  EXPECT_EQ(RenameTargetPath(u"\\??\\UNC\\srv\\sh"), u"");
}

TEST_F(RequestPathsTest, TakesASaveByATemporaryFileForOne) {
  EXPECT_TRUE(IsTempFileRename(u"/a.tmp", u"/a.txt"));
  EXPECT_TRUE(IsTempFileRename(u"/a.TMP", u"/a.TXT"));
  EXPECT_TRUE(IsTempFileRename(u"/D1F00000", u"/report.doc"));
  EXPECT_TRUE(IsTempFileRename(u"/.hidden", u"/a.txt"));
}

TEST_F(RequestPathsTest, TakesNoOtherRenameForASave) {
  EXPECT_FALSE(IsTempFileRename(u"/a.txt", u"/b.txt"));
  EXPECT_FALSE(IsTempFileRename(u"/a.tmp", u"/b.TMP"));
  EXPECT_FALSE(IsTempFileRename(u"/a.tmp", u"/b"));
  EXPECT_FALSE(IsTempFileRename(u"/a", u"/.profile"));
  EXPECT_FALSE(IsTempFileRename(u"", u""));
}

// The last "." is looked for in the whole path, as it always was.
TEST_F(RequestPathsTest, SeesADotInAFolderNameAsAnExtension) {
  EXPECT_FALSE(IsTempFileRename(u"/v1.2/draft", u"/v1.2/report.doc"));
  EXPECT_TRUE(IsTempFileRename(u"/draft", u"/v1.2/report"));
}

}  // namespace
}  // namespace zv::testing
