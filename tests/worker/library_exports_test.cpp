// The built library as it is loaded: its exports are all there and answer.
#include <gtest/gtest.h>

#include "tests/support/test_home.h"
#include "tests/worker/loaded_library.h"

namespace zv::testing {
namespace {

class LoadedLibraryTest : public HomeTest {
 protected:
  // The library keeps to the home that it sees first, so it meets the shared block there, too.
  LoadedLibraryTest() { library_.ResetProgressDetails(); }

  const WorkerLibrary library_;
};

TEST_F(LoadedLibraryTest, AnswersWithoutSettingsServerOrDriver) {
  std::u16string local_name = u"Y:";
  std::u16string remote_name = u"\\\\other\\drive";
  ZvNetResource resource{};
  resource.local_name = local_name.data();
  resource.remote_name = remote_name.data();
  EXPECT_EQ(library_.CreateNewDrive(&resource, u"secret", u"user"), ZV_BAD_NET_NAME);
  EXPECT_EQ(library_.DeleteNewDrive(u"Y:"), ZV_GENERAL_FAILURE);
  EXPECT_EQ(library_.GetDriveConnection(u"Y:", nullptr, nullptr), ZV_NO_NETWORK);
  const ZvFindData information{};
  EXPECT_EQ(library_.WrapperUpdate(u"/Docs/a.txt", &information), 0u);
  EXPECT_EQ(library_.GetFolderSize(u"/Docs"), 0);
  EXPECT_EQ(library_.IsListingFileExist(u"/a", u"/b"), 0u);
  EXPECT_EQ(library_.DeleteListingFile(u"/a"), 0u);
  EXPECT_EQ(library_.DeleteCache(), 0u);
  EXPECT_EQ(library_.CheckLastModifiedTime(u"Y:\\a"), 1u);
}

TEST_F(LoadedLibraryTest, BeginsIdle) {
  ZvChar name[260] = {u'x'};
  uint32_t first = 1;
  uint32_t second = 1;
  uint32_t elapsed = 1;
  EXPECT_EQ(library_.GetInternetDetails(name, &first, &second, &elapsed, ZV_READ_PROGRESS),
            ZV_IDLE);
  EXPECT_EQ(name[0], u'\0');
  EXPECT_EQ(first + second + elapsed, 0u);
  EXPECT_EQ(library_.GetUsedSpace(), 0u);
}

}  // namespace
}  // namespace zv::testing
