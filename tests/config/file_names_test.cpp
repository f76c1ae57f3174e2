#include "config/file_names.h"

#include <gtest/gtest.h>

namespace zv {
namespace {

TEST(ClassifyFileName, SortsByExtension) {
  EXPECT_EQ(ClassifyFileName(u"\\d\\a.TMP"), kTemporaryName);
  EXPECT_EQ(ClassifyFileName(u"a.tmp1"), kTemporaryName);
  EXPECT_EQ(ClassifyFileName(u"\\d\\~$report.docx"), kOfficeLockName);
  EXPECT_EQ(ClassifyFileName(u"~$a.XLS"), kOfficeLockName);
  EXPECT_EQ(ClassifyFileName(u"~$a.pptx"), kOfficeLockName);
  EXPECT_EQ(ClassifyFileName(u"~$a.txt"), kOrdinaryName);
  EXPECT_EQ(ClassifyFileName(u"~report.doc"), kOrdinaryName);
  EXPECT_EQ(ClassifyFileName(u"report.doc"), kOrdinaryName);
  EXPECT_EQ(ClassifyFileName(u"report."), kOrdinaryName);
  EXPECT_EQ(ClassifyFileName(u"README"), kNoExtension);
  EXPECT_EQ(ClassifyFileName(u".profile"), kNoExtension);
  EXPECT_EQ(ClassifyFileName(u"\\d.x\\README"), kNoExtension);
  EXPECT_EQ(ClassifyFileName(u""), kNoExtension);
}

TEST(TempFileRename, IsASaveByATemporaryFile) {
  EXPECT_TRUE(IsTempFileRename(u"/a.tmp", u"/a.txt"));
  EXPECT_TRUE(IsTempFileRename(u"\\X.TMP", u"\\report.TXT"));
  EXPECT_TRUE(IsTempFileRename(u"/D1F00000", u"/report.doc"));
  EXPECT_TRUE(IsTempFileRename(u"\\4913", u"\\report.doc"));
  EXPECT_TRUE(IsTempFileRename(u"/.hidden", u"/a.txt"));
}

TEST(TempFileRename, IsNoOtherRename) {
  EXPECT_FALSE(IsTempFileRename(u"/a.txt", u"/b.txt"));
  EXPECT_FALSE(IsTempFileRename(u"/a.tmp", u"/b.TMP"));
  EXPECT_FALSE(IsTempFileRename(u"/a.tmp", u"/b"));
  EXPECT_FALSE(IsTempFileRename(u"/a", u"/.profile"));
  EXPECT_FALSE(IsTempFileRename(u"", u""));
}

// The last "." is looked for in the whole path, as it always was.
TEST(TempFileRename, SeesADotInAFolderNameAsAnExtension) {
  EXPECT_FALSE(IsTempFileRename(u"/v1.2/draft", u"/v1.2/report.doc"));
  EXPECT_TRUE(IsTempFileRename(u"/draft", u"/v1.2/report"));
}

TEST(TempFileRename, SeesADotThatLeadsANameInAFolderAsAnExtension) {
  EXPECT_TRUE(IsTempFileRename(u"\\.tmp", u"\\a.doc"));
  EXPECT_FALSE(IsTempFileRename(u"\\Docs\\.bak", u"\\Docs\\a.doc"));
}

TEST(TemporaryIntoReal, TakesAnyNameThatIsNotTemporaryForReal) {
  EXPECT_TRUE(TurnsTemporaryIntoReal(u"/~doc123.tmp", u"/report.doc"));
  EXPECT_TRUE(TurnsTemporaryIntoReal(u"/a.TMP", u"/README"));
  EXPECT_FALSE(TurnsTemporaryIntoReal(u"/a.tmp", u"/b.TMP"));
  EXPECT_FALSE(TurnsTemporaryIntoReal(u"/a", u"/report.doc"));
  EXPECT_FALSE(TurnsTemporaryIntoReal(u"/.tmp", u"/report.doc"));
  EXPECT_FALSE(TurnsTemporaryIntoReal(u"", u""));
}

}  // namespace
}  // namespace zv
