#include "tests/support/test_home.h"

#include "platform/shared_memory.h"

namespace zv::testing {
namespace {

TEST(TestHomeTest, EachHomeStartsEmpty) {
  {
    const TestHome home;
    home.SetSetting(kConnectionSubKey, u"UserName", u"anna");
    WriteFileBytes(home.CacheFolder(u"anna") + u"dir#ZV", "bytes");
    static_cast<char*>(SharedMemory())[7] = 1;
    EXPECT_EQ(home.Setting(kConnectionSubKey, u"UserName"), u"anna");
    EXPECT_EQ(ReadFileBytes(u"C:\\Apps\\Host\\Cache@anna\\dir#ZV"), "bytes");
  }
  const TestHome home;
  EXPECT_FALSE(home.Setting(kConnectionSubKey, u"UserName"));
  EXPECT_FALSE(ReadFileBytes(u"C:\\Apps\\Host\\Cache@anna\\dir#ZV"));
  EXPECT_EQ(static_cast<char*>(SharedMemory())[7], 0);
}

TEST_F(HomeTest, StoresAnAccountInItsStoredForms) {
  home_.SetAccount(u"127.1.2.3", u"anna", u"secret",
                   {.ssl = true,
                    .proxy_name = u"p",
                    .proxy_port = 8080,
                    .proxy_user = u"u",
                    .proxy_password = u"w"});
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"Password"), RaiseBy20(u"secret:anna"));
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"anna"), u"127.1.2.3;");
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"SSL"), u"1");
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"ProxyPort"), u"8080");
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"ProxyPass")->size(), 7u);
  EXPECT_EQ(home_.Setting(kSettingsSubKey, u"Intelligent Cache"), u"1");
  EXPECT_EQ(home_.Setting(kApplicationSubKey, u"Application Path"), u"C:\\Apps\\Host");
  home_.RemoveSetting(kConnectionSubKey, u"SSL");
  EXPECT_FALSE(home_.Setting(kConnectionSubKey, u"SSL"));
}

TEST_F(HomeTest, FindsWholeLogLines) {
  const Text text = u"\xFEFFplain line\r\nInformation : 11/15/2026 14:03:09 : done for /Docs.\r\n";
  WriteFileBytes(home_.LogFolder() + u"UserLog.txt", ToUtf16LeBytes(text));
  EXPECT_EQ(home_.LogText(u"UserLog.txt"), text.substr(1));
  EXPECT_TRUE(home_.LogHasLine(u"UserLog.txt", u"plain line"));
  EXPECT_TRUE(home_.LogHasLine(u"UserLog.txt", u"done for /Docs."));
  EXPECT_FALSE(home_.LogHasLine(u"UserLog.txt", u"line"));
  EXPECT_FALSE(home_.LogHasLine(u"UserLog.txt", u"for /Docs."));
  EXPECT_EQ(home_.LogText(u"Missing.txt"), u"");
}

}  // namespace
}  // namespace zv::testing
