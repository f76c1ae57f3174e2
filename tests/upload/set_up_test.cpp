// From the settings to the upload client's connection.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/test_home.h"
#include "upload/backup_dav.h"

namespace zv::testing {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

using UploadClientTest = HomeTest;

TEST_F(UploadClientTest, WithoutSettingsItTriesNoConnection) {
  CBackupDAV client;
  EXPECT_THAT(ToUtf8(home_.LogText(u"DavDebug.txt")),
              AllOf(StartsWith("Could not read registry for connection details, Reason : "),
                    EndsWith("\r\n"), Not(HasSubstr("PrepareConnectionHandle"))));
  TransferRequest request{.path = u"/big.bin"};
  EXPECT_FALSE(client.InitiateUpload(request));
}

TEST_F(UploadClientTest, WithoutAServerItSaysWhyThereIsNoConnection) {
  home_.SetAccount(u"", u"anna", u"secret");
  const CBackupDAV client;
  EXPECT_THAT(ToUtf8(home_.LogText(u"DavDebug.txt")),
              HasSubstr("\r\nException in PrepareConnectionHandle!, Reason : "));
}

}  // namespace
}  // namespace zv::testing
