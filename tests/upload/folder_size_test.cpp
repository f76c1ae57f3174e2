// Where folder sizes are asked for, and how.
#include "upload/folder_size.h"

#include "tests/upload/upload_fixture.h"
#include "webdav/url.h"

namespace zv::testing {
namespace {

TEST(FolderSizeObjectTest, EveryFolderHasASlashBehindIt) {
  const auto object_of = [](TextView folder) {
    return FolderSizeObject(u"anna", u"se cret&", PercentEncodePath(folder));
  };
  const Text question = u"cgi-bin/compute_size_long.cgi?user=anna&pass=se cret&&path=";
  EXPECT_EQ(object_of(u"/My docs"), question + u"/My%20docs%2F");
  EXPECT_EQ(object_of(u"/My docs/"), question + u"/My%20docs/%2F");
  EXPECT_EQ(object_of(u"\\a.b\\\u00e9"), question + u"/a%2Eb/%C3%A9%2F");
  EXPECT_EQ(object_of(u""), question + u"%2F");
}

TEST(KilobyteTextTest, AFractionCounts) { EXPECT_EQ(BytesFromKilobyteText("1.5"), 1536U); }

TEST(KilobyteTextTest, WhatFollowsTheNumberIsIgnored) {
  EXPECT_EQ(BytesFromKilobyteText(" \n2 KB\n"), 2048U);
  EXPECT_EQ(BytesFromKilobyteText("+3\r\n<html>"), 3072U);
}

TEST(KilobyteTextTest, WhatIsNoNumberIs0) {
  for (const char* text : {"", " ", "abc", "<1>", "-1", "nan", "inf", "1e300"}) {
    EXPECT_EQ(BytesFromKilobyteText(text), 0U) << text;
  }
}

TEST(KilobyteTextTest, SizesBeyond32BitsComeWhole) {
  EXPECT_EQ(BytesFromKilobyteText("8388608"), uint64_t{8} << 30);
}

class FolderSizeTest : public UploadTest {
 protected:
  void SetServerValue(TextView text) { home_.SetSetting(kConnectionSubKey, u"anna", text); }
};

TEST_F(FolderSizeTest, TheScriptServerStandsBeforeTheFirstSemicolon) {
  SetServerValue(u"srv1;x;y");
  EXPECT_EQ(client_.GetScriptServer(), u"srv1");
}

TEST_F(FolderSizeTest, AValueWithoutASemicolonGivesNoScriptServer) {
  SetServerValue(u"srv1");
  EXPECT_EQ(client_.GetScriptServer(), u"");
  EXPECT_EQ(client_.GetFolderSizeInByte(u"/Docs/"), 0U);
  EXPECT_EQ(CountInTrace(u"Exception in GetFolderSizeInByte, Reason: "), 1U);
}

TEST_F(FolderSizeTest, AMissingValueGivesNoScriptServer) {
  home_.RemoveSetting(kConnectionSubKey, u"anna");
  EXPECT_EQ(client_.GetScriptServer(), u"");
}

TEST_F(FolderSizeTest, AServerThatIsNotThereGives0) {
  SetServerValue(Text(kNobody) + u";");
  EXPECT_EQ(client_.GetFolderSizeInByte(u"/"), 0U);
}

TEST_F(FolderSizeTest, AProxyIsAskedForTheScriptServersSecurePort) {
  SetAccount({.proxy_name = server_.host(),
              .proxy_port = server_.port(),
              .proxy_user = u"door",
              .proxy_password = u"key"});
  SetServerValue(u"srv1.example;");
  server_.On([](const Request&) { return Reply::Status(403); });
  CBackupDAV client;
  EXPECT_EQ(client.GetFolderSizeInByte(u"/"), 0U);
  ASSERT_GE(server_.request_count(), 1U);
  EXPECT_EQ(server_.lines().at(0), "CONNECT srv1.example:443");
}

TEST_F(FolderSizeTest, AProxyThatAsksForNoCredentialsIsGivenNone) {
  SetAccount({.proxy_name = server_.host(), .proxy_port = server_.port()});
  SetServerValue(u"srv1.example;");
  server_.On([](const Request&) { return Reply::Status(403); });
  CBackupDAV client;
  EXPECT_EQ(client.GetFolderSizeInByte(u"/"), 0U);
  ASSERT_GE(server_.request_count(), 1U);
  EXPECT_EQ(server_.lines().at(0), "CONNECT srv1.example:443");
  EXPECT_EQ(server_.requests().at(0).CountHeaders("Proxy-Authorization"), 0U);
  EXPECT_EQ(CountInTrace(u"Exception in GetFolderSizeInByte"), 0U);
}

}  // namespace
}  // namespace zv::testing
