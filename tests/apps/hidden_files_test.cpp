// Which renames are libfuse's own, and who removes what they hide.
#include "apps/zvdrive/fuse/hidden_files.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/posix/fuse_records.h"

namespace zv::testing {
namespace {

constexpr uint32_t kLookup = 1;
constexpr size_t kFolderNumber = 8;

class HiddenFilesTest : public ::testing::Test {
 protected:
  ~HiddenFilesTest() override { NoteNamesOf({}); }

  void Ask(uint32_t opcode, const std::string& body) {
    request_.assign(sizeof(FuseRequestHeader), '\0');
    FuseRequestHeader header{};
    header.opcode = opcode;
    std::memcpy(request_.data(), &header, sizeof header);
    request_ += body;
    NoteNamesOf(std::as_bytes(std::span(request_)));
  }
  void AskRename(uint32_t opcode, size_t before_names) {
    Ask(opcode, std::string(before_names, '\1') + "a.tmp" + '\0' + "a.txt" + '\0');
  }

  std::string request_;
};

TEST_F(HiddenFilesTest, ARemovalRenamesOnlyToHide) {
  Ask(kFuseUnlink, std::string("a.txt") + '\0');
  EXPECT_TRUE(Hides("/d/.fuse_hidden0000000100000001"));
}

TEST_F(HiddenFilesTest, ARenameHidesWhatItReplacesAndNothingElse) {
  AskRename(kFuseRename, kFolderNumber);
  EXPECT_TRUE(Hides("/d/.fuse_hidden0000000100000001"));
  EXPECT_FALSE(Hides("/d/a.txt"));
  AskRename(kFuseRenameWithFlags, 2 * kFolderNumber);
  EXPECT_TRUE(Hides("/.fuse_hidden0000000100000001"));
  EXPECT_FALSE(Hides("/a.txt"));
}

TEST_F(HiddenFilesTest, NoOtherRequestHides) {
  Ask(kFuseUnlink, std::string("a.txt") + '\0');
  Ask(kLookup, std::string("a.txt") + '\0');
  EXPECT_FALSE(Hides("/.fuse_hidden0000000100000001"));
  Ask(kFuseUnlink, "");
  EXPECT_FALSE(Hides("/.fuse_hidden0000000100000001"));
}

TEST_F(HiddenFilesTest, OneRemovesWhatIsHidden) {
  HiddenFiles hidden;
  EXPECT_FALSE(hidden.Take(u"\\a"));
  hidden.Add(u"\\a");
  EXPECT_TRUE(hidden.Take(u"\\a"));
  EXPECT_FALSE(hidden.Take(u"\\a"));
}

}  // namespace
}  // namespace zv::testing
