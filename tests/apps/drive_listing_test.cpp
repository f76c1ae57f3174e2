// Folders read entry by entry, while their walks go on.
#include <future>

#include "apps/zvdrive/drive/folder_listing.h"
#include "platform/thread.h"
#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr int kManyEntries = 1000;

Text NameOf(int number) { return FromUtf8("file " + std::to_string(number)); }

std::vector<Text> AllNames(FolderListing& listing) {
  std::vector<Text> names;
  while (const NamedNode* node = listing.At(names.size())) names.push_back(node->name);
  return names;
}

class DriveListing : public DriveTest {
 protected:
  void PutMany() {
    for (int i = 0; i < kManyEntries; ++i) worker_.PutFile(u"\\" + NameOf(i), "1");
  }
};

TEST_F(DriveListing, EntriesAreReadWhileTheWalkIsStillUnderWay) {
  PutMany();
  std::promise<void> may_end;
  const std::shared_future<void> allowed = may_end.get_future().share();
  // The last request of the walk waits until the first entries were read.
  worker_.OnRequest([&](const AskedRequest& asked) {
    if (asked.major == MajorCode::kDirectory && asked.length == kManyEntries) allowed.wait();
  });
  const auto listing = drive_.OpenFolder(u"\\");
  EXPECT_TRUE(listing->At(0));
  EXPECT_FALSE(listing->AtOnce(kManyEntries - 1));
  may_end.set_value();
  EXPECT_EQ(AllNames(*listing).size(), kManyEntries);
  EXPECT_EQ(listing->error(), DriveError::kNone);
}

TEST_F(DriveListing, AnEntryStaysInPlaceWhileOthersComeIn) {
  PutMany();
  const auto listing = drive_.OpenFolder(u"\\");
  const NamedNode* first = listing->At(0);
  ASSERT_TRUE(first);
  const Text name = first->name;
  EXPECT_EQ(AllNames(*listing).size(), kManyEntries);
  EXPECT_EQ(listing->At(0), first);
  EXPECT_EQ(first->name, name);
}

TEST_F(DriveListing, TheWalkServesWhatFollows) {
  PutMany();
  AllNames(*drive_.OpenFolder(u"\\"));
  worker_.ClearLog();
  EXPECT_EQ(drive_.Look(u"\\" + NameOf(7)).value.size, 1);
  EXPECT_EQ(AllNames(*drive_.OpenFolder(u"\\")).size(), kManyEntries);
  EXPECT_EQ(worker_.Count(OfMajor(MajorCode::kDirectory)), 0u);
}

TEST_F(DriveListing, AFolderThatCannotBeListedGivesAnErrorAndNoEntry) {
  worker_.FailWalks(true);
  const auto listing = drive_.OpenFolder(u"\\");
  EXPECT_FALSE(listing->At(0));
  EXPECT_EQ(listing->error(), DriveError::kIo);
}

TEST_F(DriveListing, AWalkThatBreaksOffGivesItsEntriesAndThenTheError) {
  PutMany();
  worker_.LoseReplies([](const AskedRequest& asked) {
    return asked.major == MajorCode::kDirectory && asked.length == kManyEntries / 2;
  });
  const auto listing = drive_.OpenFolder(u"\\");
  EXPECT_FALSE(AllNames(*listing).empty());
  EXPECT_EQ(listing->error(), DriveError::kIo);
}

TEST_F(DriveListing, AnEmptyFolderHasNoEntryAndNoError) {
  worker_.PutFolder(u"\\d");
  const auto listing = drive_.OpenFolder(u"\\d");
  EXPECT_THAT(AllNames(*listing), IsEmpty());
  EXPECT_EQ(listing->error(), DriveError::kNone);
}

TEST_F(DriveListing, AnOpenFileShowsAsItsWriterLeftIt) {
  worker_.PutFile(u"\\known", "12");
  const FileHandle known = OpenFileAt(u"\\known");
  EXPECT_EQ(WriteTo(known, 2, "345"), DriveError::kNone);
  const FileHandle made = CreateFileAt(u"\\made");
  drive_.Invalidate(u"\\known");
  const auto listing = drive_.OpenFolder(u"\\");
  EXPECT_THAT(AllNames(*listing), UnorderedElementsAre(u"known", u"made"));
  EXPECT_EQ(listing->At(0)->info.size, 5);
  EXPECT_EQ(CloseFile(known), DriveError::kNone);
  EXPECT_EQ(CloseFile(made), DriveError::kNone);
}

TEST_F(DriveListing, ADriveThatGoesWaitsForItsListings) {
  PutMany();
  auto drive = std::make_unique<VirtualDrive>(worker_, worker_, DriveOptions{});
  const auto listing = drive->OpenFolder(u"\\");
  drive.reset();
  EXPECT_THAT(AllNames(*listing), Contains(NameOf(kManyEntries - 1)));
}

TEST(FolderListingTest, SeveralReadersAreAllServed) {
  FolderListing listing;
  std::vector<size_t> counts(3);
  std::vector<Thread> readers;
  for (size_t& count : counts) {
    readers.push_back(Thread::Start([&] {
      while (listing.At(count)) ++count;
      return 0U;
    }));
  }
  for (int i = 0; i < kManyEntries; ++i) listing.Add({NameOf(i), {}});
  listing.End(DriveError::kNone);
  WaitForAll(readers);
  for (const size_t count : counts) EXPECT_EQ(count, kManyEntries);
}

}  // namespace
}  // namespace zv::testing
