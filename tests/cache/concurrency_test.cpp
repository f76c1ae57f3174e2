// Two cache objects on one cache, as the two polling threads have them.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>

#include "cache/listing_file.h"
#include "cache/record_list.h"
#include "tests/cache/cache_fixture.h"

namespace zv::testing {
namespace {

using List = std::vector<Text>;

class Concurrency : public CacheTest {
 protected:
  Concurrency() {
    account_.AddFolder("/d", kEarly);
    account_.AddFile("/d/old", "1", kEarly);
    account_.AddFile("/d/other", "1", kEarly);
  }
  // Names in the listing file of /d, without the two of the folder itself and its parent.
  List ListedFiles() const {
    const RecordList records(ListingText(u"/d"));
    List names;
    for (size_t i = 2; i < records.size(); ++i) names.emplace_back(records.At(i).Name());
    return names;
  }
  // Runs while a listing of the server is on its way.
  void DuringListing(std::function<void(CCache& other)> change) {
    const auto done = std::make_shared<std::atomic<bool>>(false);
    account_.OnAnswer([change, done](const Request& request) {
      if (request.Header("Depth") != "1" || done->exchange(true)) return;
      CCache other;
      change(other);
    });
  }
};

TEST_F(Concurrency, AFileSentWhileItsFolderIsFetchedStaysListed) {
  DuringListing([this](CCache& other) {
    WriteContent(u"/d/new", "12");
    EXPECT_TRUE(other.TransferCachedFile(u"/d/new", true));
  });
  EXPECT_EQ(Walk(u"/d/"), (List{u"old", u"other", u"new"}));
}

TEST_F(Concurrency, AFileDeletedWhileItsFolderIsFetchedStaysGone) {
  WriteListing(u"/d", u"old?0?1?0?0?0\r\n");
  DuringListing([](CCache& other) { EXPECT_TRUE(other.DeleteCachedResource(u"/d/old", true)); });
  EXPECT_TRUE(cache().CacheFolderContents(u"/d/"));
  EXPECT_EQ(ListedFiles(), (List{u"other"}));
}

TEST_F(Concurrency, AFileRenamedWhileItsFolderIsFetchedKeepsItsNewName) {
  WriteListing(u"/d", u"old?0?1?0?0?0\r\n");
  DuringListing([](CCache& other) {
    EXPECT_EQ(other.RenameCachedResource(u"/d/old", u"/d/young", true), kRenameDone);
  });
  EXPECT_TRUE(cache().CacheFolderContents(u"/d/"));
  EXPECT_EQ(ListedFiles(), (List{u"young", u"other"}));
}

TEST_F(Concurrency, AFileMovedIntoAFolderThatIsBeingFetchedStaysListed) {
  account_.AddFolder("/e", kEarly);
  account_.AddFile("/e/from", "1", kEarly);
  WriteListing(u"/e", u"from?0?1?0?0?0\r\n");
  DuringListing([](CCache& other) {
    EXPECT_EQ(other.RenameCachedResource(u"/e/from", u"/d/to", true), kRenameDone);
  });
  EXPECT_TRUE(cache().CacheFolderContents(u"/d/"));
  EXPECT_EQ(ListedFiles(), (List{u"old", u"other", u"to"}));
}

TEST_F(Concurrency, AListingStoredWhileItsFolderIsNotedInItsParentIsNotCutToTheRootLines) {
  WriteListing(u"/", u"");
  const Text listing = Names().GetDirRecordName(u"/new");
  FindData information;
  information.attributes = kAttributeDirectory;
  for (int round = 0; round < 20; ++round) {
    RemoveFile(listing);
    std::atomic<bool> held = false;
    std::jthread updater([&] {
      CCache other;
      while (!held) std::this_thread::yield();
      EXPECT_TRUE(other.UpdateCacheFileList(u"/new", information));
    });
    {
      // As the fetch that stores the listing holds it; long enough for the other one to look.
      const ListingLock lock;
      held = true;
      for (int look = 0; look < 500; ++look) EXPECT_FALSE(FileExists(listing));
      WriteListing(u"/new", u"fetched?0?1?0?0?0\r\n");
    }
    updater.join();
    ASSERT_EQ(ListingText(u"/new"), u"fetched?0?1?0?0?0\r\n") << round;
  }
}

TEST_F(Concurrency, AFolderMadeWhileItsParentIsFetchedStaysListed) {
  DuringListing([](CCache& other) { EXPECT_TRUE(other.CreateCacheDirectory(u"/d/made")); });
  EXPECT_EQ(Walk(u"/d/"), (List{u"old", u"other", u"made"}));
}

TEST_F(Concurrency, NoFileIsLostBetweenAWriterAndAReader) {
  constexpr int kFiles = 25;
  std::jthread writer([this] {
    CCache other;
    for (int i = 0; i < kFiles; ++i) {
      const Text path = u"/d/f" + FromUtf8(std::to_string(100 + i));
      WriteContent(path, "12345");
      EXPECT_TRUE(other.TransferCachedFile(path, true));
    }
  });
  for (int i = 0; i < 40; ++i) {
    const List names = Walk(u"/d/");
    EXPECT_NE(std::find(names.begin(), names.end(), u"old"), names.end());
    // As when somebody else changed the folder.
    account_.SetTime("/d", kEarly + i);
  }
  writer.join();
  List names = Walk(u"/d/");
  std::sort(names.begin(), names.end());
  List wanted{u"old", u"other"};
  for (int i = 0; i < kFiles; ++i) wanted.push_back(u"f" + FromUtf8(std::to_string(100 + i)));
  std::sort(wanted.begin(), wanted.end());
  EXPECT_EQ(names, wanted);
}

}  // namespace
}  // namespace zv::testing
