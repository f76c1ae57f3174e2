// The records' texts, and the names that go with drives.
#include "driver/protocol.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "driver/drive_device.h"

namespace zv {
namespace {

TEST(RequestRecordTest, ReadsATextUpToItsTerminator) {
  RequestRecord record;
  record.SetPath(u"\\a.txt");
  record.SetSecondPath(u"b");
  record.SetProcessName(u"explorer.exe");
  EXPECT_EQ(record.Path(), u"\\a.txt");
  EXPECT_EQ(record.SecondPath(), u"b");
  EXPECT_EQ(record.ProcessName(), u"explorer.exe");
  record.SetPath(u"");
  EXPECT_TRUE(record.Path().empty());
}

TEST(RequestRecordTest, EndsAnUnterminatedTextWithItsField) {
  RequestRecord record;
  std::ranges::fill(record.path, u'p');
  std::ranges::fill(record.second_path, u's');
  std::ranges::fill(record.process_name, u'e');
  record.force_store = 1;
  EXPECT_EQ(record.Path(), Text(260, u'p'));
  EXPECT_EQ(record.SecondPath(), Text(260, u's'));
  EXPECT_EQ(record.ProcessName(), Text(16, u'e'));
}

TEST(RequestRecordTest, CutsWhatDoesNotFit) {
  RequestRecord record;
  record.SetPath(Text(260, u'p'));
  record.SetProcessName(Text(17, u'e'));
  EXPECT_EQ(record.Path(), Text(259, u'p'));
  EXPECT_EQ(record.ProcessName(), Text(15, u'e'));
}

TEST(DosDeviceNameTest, IsZeroPaddedTo520Bytes) {
  const DosDeviceName name = MakeDosDeviceName(u"Y:");
  EXPECT_EQ(TextView(name.data()), u"\\DosDevices\\Y:");
  EXPECT_EQ(sizeof name, 520u);
  EXPECT_TRUE(std::all_of(name.begin() + 14, name.end(), [](char16_t unit) { return unit == 0; }));
}

TEST(DosDeviceNameTest, IsCutAtItsField) {
  const DosDeviceName name = MakeDosDeviceName(Text(400, u'Y'));
  EXPECT_EQ(name.back(), u'Y');
  EXPECT_EQ(TextView(name.data(), 13), u"\\DosDevices\\Y");
}

TEST(DriveDeviceNameTest, PutsTheDevicePrefixInFront) {
  EXPECT_EQ(DriveDeviceName(u"Y:"), u"\\\\.\\Y:");
}

}  // namespace
}  // namespace zv
