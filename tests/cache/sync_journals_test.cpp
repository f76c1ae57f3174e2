// The nine journals, byte for byte.
#include "tests/cache/sync_fixture.h"

namespace zv::testing {
namespace {

using namespace std::string_literals;

class JournalBytes : public SyncTest {
 protected:
  // As the library found it in its last call.
  std::string Seen(const char16_t* name) const {
    const auto& journals = recorder_.calls.at(recorder_.calls.size() - 1).journals;
    const auto found = journals.find(name);
    return found == journals.end() ? "(none)" : found->second;
  }
  // A text of Latin-1 characters in UTF-16LE.
  static std::string Wide(const std::string& text) {
    std::string bytes;
    for (const char c : text) bytes += std::string{c, '\0'};
    return bytes;
  }
};

TEST_F(JournalBytes, OfAListing) {
  SetListing({});
  cache().CacheFolderContents(u"/Docs");
  EXPECT_EQ(Seen(u"Source.txt"), "/\0D\0o\0c\0s\0/\0\r\0\n\0"s);
}

TEST_F(JournalBytes, OfADownload) {
  cache().CacheRestoreFile(u"\\D\\a.txt");
  EXPECT_EQ(Seen(u"Download_src.txt"), "F\0_\0/\0D\0/\0a\0.\0t\0x\0t\0\r\0\n\0"s);
  EXPECT_EQ(Seen(u"Download_dst.txt"), Wide("C:\\Apps\\Host\\Cache@u\\\r\n"));
}

TEST_F(JournalBytes, OfANewFolder) {
  cache().CreateCacheDirectory(u"\\D\\n");
  EXPECT_EQ(Seen(u"createdir_dst.txt"), "/\0D\0/\0n\0/\0\r\0\n\0"s);
}

TEST_F(JournalBytes, OfARename) {
  cache().RenameCachedResource(u"/D/\u00E4", u"/\u65E5", true);
  EXPECT_EQ(Seen(u"Rename_src.txt"), "/\0D\0/\0\xE4\0\r\0\n\0"s);
  EXPECT_EQ(Seen(u"Rename_dst.txt"), "/\0\xE5\x65\r\0\n\0"s);
}

TEST_F(JournalBytes, OfAnUpload) {
  WriteContent(u"/D/a", "1");
  cache().TransferCachedFile(u"\\D\\a", true);
  EXPECT_EQ(Seen(u"Upload_dst.txt"), "/\0D\0/\0\r\0\n\0"s);
  EXPECT_EQ(Seen(u"Upload_src.txt"), Wide("F_C:\\Stratel Drive\\cache@u\\a\r\n"));
}

TEST_F(JournalBytes, OfADeletion) {
  cache().DeleteCachedResource(u"/a/b/", true);
  EXPECT_EQ(Seen(u"Delete_src.txt"), "D\0_\0/\0a\0/\0b\0\r\0\n\0"s);
  cache().DeleteCachedResource(u"\\a\\c.txt", true);
  EXPECT_EQ(Seen(u"Delete_src.txt"), "F\0_\0/\0a\0/\0c\0.\0t\0x\0t\0\r\0\n\0"s);
}

// A shorter line leaves nothing of a longer one.
TEST_F(JournalBytes, OfTheCurrentOperationOnly) {
  cache().DeleteCachedResource(u"/a/long name of a file.txt", true);
  cache().DeleteCachedResource(u"/b", true);
  EXPECT_EQ(Seen(u"Delete_src.txt"), "F\0_\0/\0b\0\r\0\n\0"s);
}

}  // namespace
}  // namespace zv::testing
