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

}  // namespace
}  // namespace zv::testing
