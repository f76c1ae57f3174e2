// What is done, and what is told, while the cache's folder cannot be read. Its files can.
#include <dirent.h>
#include <dlfcn.h>

#include <cerrno>

#include "tests/cache/sync_fixture.h"

namespace {

// Of the calling thread.
thread_local bool is_unreadable = false;

}  // namespace

extern "C" dirent* readdir(DIR* stream) {
  using ReadDir = dirent* (*)(DIR*);
  static const auto real = reinterpret_cast<ReadDir>(::dlsym(RTLD_NEXT, "readdir"));
  if (!is_unreadable) return real(stream);
  errno = EIO;
  return nullptr;
}

namespace zv::testing {
namespace {

// While it lives, folders tell no names. Those that were searched before are watched since.
class UnreadableFolders {
 public:
  UnreadableFolders() { is_unreadable = true; }
  ~UnreadableFolders() { is_unreadable = false; }
  UnreadableFolders(const UnreadableFolders&) = delete;
  UnreadableFolders& operator=(const UnreadableFolders&) = delete;
};

constexpr TextView kReason = u"Input/output error";

// Two files of a folder, one of which waits to be sent.
template <typename Base>
class UnreadFolder : public Base {
 protected:
  UnreadFolder() {
    this->WriteListing(u"/", u"a?1?0?0?1?2\r\n");
    this->WriteContent(u"/a/sent", "the server's");
    this->WriteContent(u"/a/waits", "only copy");
    this->cache().pending().Add(u"/a/waits", PendingKind::kContent, u"No line");
    this->cache().ClearCacheForPath(u"/none", ClearKind::kFile);  // begins the log
  }
};

class UnreadCache : public UnreadFolder<CacheTest> {};

TEST_F(UnreadCache, IsNotSaidToBeCleared) {
  {
    const UnreadableFolders unreadable;
    EXPECT_FALSE(cache().ClearCache(u""));
  }
  EXPECT_TRUE(Logged(u"Error clearing cache for  file, Reason: " + Text(kReason)));
  EXPECT_TRUE(cache().ClearCache(u""));
  EXPECT_EQ(Content(u"/a/sent"), std::nullopt);
}

TEST_F(UnreadCache, IsToldInTheLogWhereAFoldersFilesShouldGo) {
  {
    const UnreadableFolders unreadable;
    EXPECT_TRUE(cache().ClearCacheForPath(u"/a", ClearKind::kFolder));
  }
  EXPECT_TRUE(Logged(kReason));
  EXPECT_EQ(Content(u"/a/sent"), "the server's");
}

TEST_F(UnreadCache, KeepsARenamedFoldersFilesUnderTheNamesThatWait) {
  account_.AddFolder("/a", kEarly);
  {
    const UnreadableFolders unreadable;
    EXPECT_EQ(cache().RenameCachedResource(u"/a", u"/b", true), kRenameDone);
  }
  EXPECT_TRUE(account_.Has("/b"));
  EXPECT_EQ(Content(u"/a/waits"), "only copy");
  EXPECT_EQ(PendingPaths(), List{u"/a/waits"});
  EXPECT_TRUE(Logged(u"Unable to rename the pending upload of /a, Reason: " + Text(kReason)));
}

TEST_F(UnreadCache, TakesADownloadAllTheSame) {
  account_.AddFile("/f", "content", kEarly);
  account_.AddFile("/g", "content", kEarly);
  EXPECT_TRUE(cache().CacheRestoreFile(u"/f"));
  const UnreadableFolders unreadable;
  EXPECT_TRUE(cache().CacheRestoreFile(u"/g"));
  EXPECT_EQ(Content(u"/g"), "content");
}

class UnreadSyncCache : public UnreadFolder<SyncTest> {};

TEST_F(UnreadSyncCache, KeepsTheJournalOfTheDeletesThatItCannotApply) {
  WriteFileBytes(Journal(u"Delete_src.txt"), ToUtf16LeBytes(u"D_/a\r\n"));
  {
    const UnreadableFolders unreadable;
    EXPECT_EQ(cache().ApplyPendingDeletes(), 0U);
  }
  EXPECT_EQ(Content(u"/a/sent"), "the server's");
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_EQ(Content(u"/a/sent"), std::nullopt);
  EXPECT_EQ(Content(u"/a/waits"), "only copy");
}

}  // namespace
}  // namespace zv::testing
