// What the log says, and what is kept, when an operation of the cache breaks off in its middle.
#include "platform/clock_testing.h"
#include "tests/cache/sync_fixture.h"
#include "tests/support/failing_memory.h"

namespace zv::testing {
namespace {

class BrokenCache : public CacheTest {
 protected:
  BrokenCache() { cache(); }

  std::vector<Text> NotTraced(Throw thrown, std::vector<Text> texts,
                              const std::function<void()>& operation) {
    return NeverLogged(home_, u"CacheDebug.txt", thrown, std::move(texts), operation);
  }

  VirtualClock clock_;  // an upload that failed waits for its next attempt
  const Text path_ = u"/a long file name.txt";
};

using None = std::vector<Text>;

TEST_F(BrokenCache, UsedSpace) {
  EXPECT_EQ(NotTraced(ThrowNoMemory, {u"Exception while getting used space details!"},
                      [this] {
                        int64_t quota = 0;
                        int64_t used = 0;
                        cache().GetUsedSpaceDetails(&quota, &used);
                      }),
            None());
}

TEST_F(BrokenCache, AFilesTimeSaysWhetherTheFileWasIt) {
  WriteTime(path_, kEarly);
  const auto get = [this] {
    FileTime time;
    cache().GetFileTimeEntry(path_, &time);
  };
  EXPECT_EQ(NotTraced(ThrowFileError, {u"Exception in GetFileTimeEntry : the disk is gone"}, get),
            None());
  EXPECT_EQ(NotTraced(ThrowNoMemory, {u"Exception in GetFileTimeEntry!"}, get), None());
}

TEST_F(BrokenCache, ComparingTimes) {
  const FileTime time = ToFileTime(FromUnix(kEarly));
  const auto compare = [&] { cache().CompareFileTime(time, time); };
  EXPECT_EQ(
      NotTraced(ThrowFileError, {u"Exception in CompareFileTime : the disk is gone"}, compare),
      None());
  EXPECT_EQ(NotTraced(ThrowNoMemory, {u"Exception in CompareFileTime!"}, compare), None());
}

TEST_F(BrokenCache, CheckingAFile) {
  const auto check = [this] { cache().CheckFileModified(u"Z:\\a long file name.txt"); };
  EXPECT_EQ(
      NotTraced(ThrowFileError, {u"Exception in CheckFileModified : the disk is gone"}, check),
      None());
  EXPECT_EQ(NotTraced(ThrowNoMemory, {u"Exception in CheckFileModified!"}, check), None());
}

TEST_F(BrokenCache, ACheckOfAFileKeepsTheTimesOfItsRecord) {
  account_.AddFile("/a long file name.txt", "content", kEarly);
  const Text before = u"a long file name.txt?0?1?0?11?22\r\n";
  const Text after = u"a long file name.txt?0?7?0?11?22\r\n";
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    WriteListing(u"/", before);
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      cache().CheckFileModified(u"Z:\\a long file name.txt");
      happened = failing.happened();
    }
    const Text listing = ListingText(u"/");
    EXPECT_TRUE(listing == after || (happened && listing == before))
        << "allocation " << number << ": " << ToUtf8(listing);
  }
}

TEST_F(BrokenCache, AFolderReadByIndex) {
  WriteListing(u"/", u"a name of some length?0?1?0?1?2\r\n");
  const Text file = Names().GetDirRecordName(u"/");
  EXPECT_EQ(NotTraced(ThrowNoMemory,
                      {u"Exception while parsing single from file (index), Out of memory."},
                      [&] {
                        DirectoryEntry entry;
                        cache().ParseSingleFromFile(file, 1, &entry);
                      }),
            None());
}

TEST_F(BrokenCache, APendingListThatCannotBeChangedIsToldInTheLog) {
  WriteContent(path_, "new");
  const auto transfer = [this] {
    {
      // How many allocations a step takes depends on what the step before left.
      const AllocationsSucceed steady;
      cache().pending().Remove(path_);
      RemoveFile(Names().GetDirRecordName(u"/"));
      RemoveFile(Names().GetTimeFileName(path_));
      account_.Remove("/a long file name.txt");
    }
    cache().TransferCachedFile(path_, true);
  };
  EXPECT_EQ(NotTraced(ThrowNoMemory,
                      {u"Unable to note the pending upload of /a long file name.txt, Reason: ",
                       u"Unable to take /a long file name.txt off the pending uploads, Reason: "},
                      transfer),
            None());
}

TEST_F(BrokenCache, APendingListThatCannotBeRenamedIsToldInTheLog) {
  const Text target = u"/another long file name.txt";
  const auto rename = [&] {
    cache().pending().Add(path_, PendingKind::kContent, u"");
    cache().RenameCachedResource(path_, target, false);
  };
  EXPECT_EQ(NotTraced(ThrowNoMemory,
                      {u"Unable to rename the pending upload of /a long file name.txt, Reason: "},
                      rename),
            None());
}

TEST_F(BrokenCache, ARenameLeavesTheOnlyCopyListedUnderTheNameThatItHas) {
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    const Text source = u"/a long file name " + FromUtf8(std::to_string(number));
    const Text target = u"/another long file name " + FromUtf8(std::to_string(number));
    WriteContent(source, "new");
    cache().pending().Add(source, PendingKind::kContent, u"");
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      cache().RenameCachedResource(source, target, false);
      happened = failing.happened();
    }
    const Text holder = Content(source) ? source : target;
    ASSERT_EQ(Content(holder), "new") << number;
    ASSERT_TRUE(cache().pending().Contains(holder)) << number;
    if (!happened) {
      EXPECT_EQ(PendingPaths(), std::vector<Text>{target});
    }
    cache().pending().RemoveTree(source);
    cache().pending().RemoveTree(target);
    RemoveFile(Names().GetFileRecordName(holder));
  }
}

TEST_F(BrokenCache, ADownloadThatMayNotReplaceUnsentContentEndsWithItsFailure) {
  account_.AddFile("/a long file name.txt", "old", kEarly);
  WriteContent(path_, "new");
  cache().pending().Add(path_, PendingKind::kContent, u"");
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      cache().CacheRestoreFile(path_);
      happened = failing.happened();
    }
    EXPECT_EQ(Content(path_), "new") << "allocation " << number;
  }
  EXPECT_TRUE(cache().CacheRestoreFile(path_));
  EXPECT_EQ(PendingPaths(), std::vector<Text>{path_});
}

TEST_F(BrokenCache, ABlockOverCachedContentIsNotedOrRefused) {
  std::byte bytes[] = {std::byte{'n'}, std::byte{'e'}, std::byte{'w'}};
  const TransferRequest block{.path = path_, .length = sizeof bytes, .buffer = bytes};
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    WriteContent(path_, "content");
    WriteTime(path_, kEarly);
    Restart();
    cache();
    bool stored = false;
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      stored = cache().CacheFile(block);
      happened = failing.happened();
    }
    const bool began = Content(path_) != "content" || !HasTime(path_);
    EXPECT_TRUE(PendingUploads(Names()).Contains(path_) || !(stored || began))
        << "allocation " << number;
    cache().pending().Remove(path_);
  }
}

TEST_F(BrokenCache, AMoveEntersNoRecordWithoutAName) {
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    account_.AddFolder("/Docs", kEarly);
    account_.AddFile("/a long file name.txt", "content", kEarly);
    WriteListing(u"/", u"a long file name.txt?0?7?0?1?2\r\n");
    WriteListing(u"/Docs", u"another name?0?1?0?1?2\r\n");
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      cache().RenameCachedResource(path_, u"/Docs/a long file name.txt", true);
      happened = failing.happened();
    }
    const Text listing = u"\n" + ListingText(u"/Docs");
    EXPECT_EQ(listing.find(u"\n?"), Text::npos) << "allocation " << number;
    account_.Remove("/Docs");
  }
}

TEST_F(BrokenCache, AListingThatCannotBePutIntoPlaceLeavesNoScratchFile) {
  WriteListing(u"/", u"a name of some length?0?1?0?1?2\r\n");
  MakeFolders(Names().work_folder());
  FindData information;
  information.size_low = 2;
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      cache().UpdateCacheFileList(u"/a name of some length", information);
      happened = failing.happened();
    }
    EXPECT_TRUE(ListFolder(Names().work_folder()).empty()) << "allocation " << number;
    for (const FileInfo& left : ListFolder(Names().work_folder())) {
      RemoveFile(Names().work_folder() + left.name);
    }
    WriteListing(u"/", u"a name of some length?0?1?0?1?2\r\n");
  }
}

// False when the call needed no allocation of this number. Lack of memory may come out of it.
template <typename Call>
bool CallFailingAt(size_t number, Call call) {
  const FailingAllocation failing(number, ThrowNoMemory);
  try {
    call();
  } catch (const std::bad_alloc&) {
  }
  return failing.happened();
}

TEST_F(BrokenCache, NoOtherAccountsFolderIsTakenForTheCache) {
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    Text folder = Folder();
    happened = CallFailingAt(number, [&] { folder = CacheNames().folder(); });
    EXPECT_EQ(folder, Folder()) << "allocation " << number;
  }
}

TEST_F(BrokenCache, NoOtherFolderIsTakenForTheJournals) {
  const Text expected = JournalPath(u"Upload_src.txt");
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    Text path = expected;
    happened = CallFailingAt(number, [&] { path = JournalPath(u"Upload_src.txt"); });
    EXPECT_EQ(path, expected) << "allocation " << number;
  }
}

TEST_F(BrokenCache, AFetchThatMissedAChangeIsNotTakenForCurrent) {
  const Text name = u"a name of some length";
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    const ListingFetch fetch(u"listing");
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      ListingFetch::Note(u"listing", {.old_leaf = name, .new_leaf = {}, .appended = name});
      happened = failing.happened();
    }
    if (happened) {
      EXPECT_THROW(fetch.Replay(u""), std::bad_alloc) << "allocation " << number;
    } else {
      EXPECT_EQ(fetch.Replay(u""), name);
    }
  }
}

class BrokenSyncCache : public SyncTest {};

TEST_F(BrokenSyncCache, IsNeverTakenForAnOrdinaryAccount) {
  home_.SetSetting(kConnectionSubKey, u"WebServer", account_.server().host());
  const VirtualClock clock;
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    WriteContent(u"/a long file name.txt", "new");
    Restart();
    cache();
    const FailingAllocation failing(number, ThrowNoMemory);
    cache().TransferCachedFile(u"/a long file name.txt", true);
    happened = failing.happened();
  }
  EXPECT_EQ(account_.server().request_count(), 0U);
}

TEST_F(BrokenCache, ClearingGoesOnPastAFileThatCannotBeRemovedAndTellsOfIt) {
  for (const TextView path : {u"/a", u"/b", u"/c"}) WriteContent(path, "content");
  MakeFolders(Names().GetTimeFileName(u"/b"));  // no file: it cannot be removed like one
  EXPECT_FALSE(cache().ClearCache(u""));
  EXPECT_FALSE(Content(u"/a") || Content(u"/b") || Content(u"/c"));
  EXPECT_TRUE(Logged(u"Error clearing cache for  file, Reason: "));
}

TEST_F(BrokenCache, ClearingKeepsWhatOnlyThisMachineHas) {
  for (const TextView path : {u"/sent", u"/unsent"}) WriteContent(path, "content");
  cache().pending().Add(u"/unsent", PendingKind::kContent, u"");
  EXPECT_TRUE(cache().ClearCache(u""));
  EXPECT_EQ(Content(u"/sent"), std::nullopt);
  EXPECT_EQ(Content(u"/unsent"), "content");
}

}  // namespace
}  // namespace zv::testing
