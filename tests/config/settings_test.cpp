#include "config/settings.h"

#include <algorithm>
#include <set>

#include "platform/registry.h"
#include "platform/registry_testing.h"
#include "tests/support/test_home.h"

namespace zv {
namespace {

constexpr TextView kKeyPath = u"Software\\Orve-Lan\\Cirrux\\Connection Parameters";

class Settings : public testing::HomeTest {
 protected:
  static void WriteRaw(TextView name, uint32_t type, std::string_view data) {
    auto key = RegistryKey::Open(kKeyPath, KeyMode::kOpenOrCreate);
    ASSERT_TRUE(key);
    ASSERT_TRUE(key->Write(name, type, data));
  }
  static std::string Bytes(TextView text) { return ToUtf16LeBytes(text); }
  // The value as it is read, or "unchanged".
  static Text Read(TextView name) {
    Text value = u"unchanged";
    const bool read = ReadRegistryString(kConnectionParameters, name, &value);
    EXPECT_EQ(read, value != u"unchanged");
    return value;
  }
};

TEST_F(Settings, GiveBackWhatWasWritten) {
  ASSERT_TRUE(WriteRegistryString(kConnectionParameters, u"Name", u"p\u00E4th \u20AC"));
  EXPECT_EQ(Read(u"Name"), u"p\u00E4th \u20AC");
  EXPECT_EQ(ReadSetting(kConnectionParameters, u"NAME"), u"p\u00E4th \u20AC");
}

TEST_F(Settings, AreWrittenAsTextWithItsTerminator) {
  ASSERT_TRUE(WriteRegistryString(kConnectionParameters, u"Name", u"ab"));
  const auto key = RegistryKey::Open(kKeyPath, KeyMode::kOpen);
  ASSERT_TRUE(key);
  const auto value = key->Read(u"Name", 100);
  ASSERT_TRUE(value);
  EXPECT_EQ(value->type, kRegSz);
  EXPECT_EQ(value->data, std::string("a\0b\0\0\0", 6));
}

TEST_F(Settings, MissingKeyReadsAsNothing) {
  EXPECT_EQ(Read(u"UserName"), u"unchanged");
  EXPECT_EQ(ReadSetting(u"\\No Such Key", u"UserName"), u"");
}

TEST_F(Settings, MissingValueReadsAsNothing) {
  ASSERT_TRUE(WriteRegistryString(kConnectionParameters, u"Other", u"x"));
  EXPECT_EQ(Read(u"UserName"), u"unchanged");
  EXPECT_EQ(ReadSetting(kConnectionParameters, u"UserName"), u"");
}

TEST_F(Settings, NumberStoredAsANumberReadsAsMissing) {
  WriteRaw(u"SSL", kRegDword, std::string("\1\0\0\0", 4));
  EXPECT_EQ(Read(u"SSL"), u"unchanged");
}

TEST_F(Settings, BinaryValueReadsAsMissing) {
  WriteRaw(u"SSL", kRegBinary, Bytes(Text(u"1\0", 2)));
  EXPECT_EQ(Read(u"SSL"), u"unchanged");
}

TEST_F(Settings, ExpandableTextIsTakenAsItStands) {
  WriteRaw(u"Name", kRegExpandSz, Bytes(Text(u"%TEMP%\\x\0", 9)));
  EXPECT_EQ(Read(u"Name"), u"%TEMP%\\x");
}

TEST_F(Settings, TextOf509UnitsFits) {
  const Text text(509, u'x');
  ASSERT_TRUE(WriteRegistryString(kConnectionParameters, u"Name", text));
  EXPECT_EQ(Read(u"Name"), text);
}

TEST_F(Settings, TextOf510UnitsReadsAsMissing) {
  ASSERT_TRUE(WriteRegistryString(kConnectionParameters, u"Name", Text(510, u'x')));
  EXPECT_EQ(Read(u"Name"), u"unchanged");
}

TEST_F(Settings, EmptyDataReadsAsAnEmptyText) {
  WriteRaw(u"Name", kRegSz, {});
  EXPECT_EQ(Read(u"Name"), u"");
}

TEST_F(Settings, EndAtTheFirstTerminator) {
  WriteRaw(u"Name", kRegSz, Bytes(Text(u"ab\0cd\0", 6)));
  EXPECT_EQ(Read(u"Name"), u"ab");
}

TEST_F(Settings, OddByteCountReadsAsMissing) {
  WriteRaw(u"Name", kRegSz, std::string("a\0\0", 3));
  EXPECT_EQ(Read(u"Name"), u"unchanged");
}

TEST_F(Settings, TextWithoutATerminatorReadsAsMissing) {
  WriteRaw(u"Name", kRegSz, Bytes(u"ab"));
  EXPECT_EQ(Read(u"Name"), u"unchanged");
}

TEST_F(Settings, KeyPathIsCutAt254Units) {
  const size_t rest = 254 - kProductKey.size();
  const Text cut = u"\\" + Text(rest - 1, u'k');
  ASSERT_TRUE(WriteRegistryString(cut, u"Name", u"x"));
  EXPECT_EQ(ReadSetting(cut + u"longer", u"Name"), u"x");
  ASSERT_TRUE(WriteRegistryString(cut + u"much longer", u"Name", u"y"));
  EXPECT_EQ(ReadSetting(cut, u"Name"), u"y");
}

TEST_F(Settings, OtherBufferSizesCutElsewhere) {
  const Text text(519, u'x');
  ASSERT_TRUE(WriteRegistryString(kConnectionParameters, u"Name", text));
  EXPECT_EQ(ReadSettingOrThrow(kConnectionParameters, u"Name", 1040), text);
  EXPECT_EQ(ReadSettingOrThrow(kConnectionParameters, u"Name", 1038), u"");
}

TEST_F(Settings, AccountTypeIsEmptyForAnOrdinaryAccount) {
  EXPECT_EQ(ReadAccountType(), u"");
  home_.SetSetting(kConnectionParameters, u"Account_Type", u"ZVSYNC");
  EXPECT_EQ(ReadAccountType(), kSyncAccount);
}

TEST_F(Settings, AServersHostStandsBeforeTheSemicolon) {
  EXPECT_EQ(HostOfServerValue(u"files.example.org;anything;more"), u"files.example.org");
  EXPECT_EQ(HostOfServerValue(u";anything"), u"");
  EXPECT_EQ(HostOfServerValue(u"files.example.org"), u"");
  EXPECT_EQ(HostOfServerValue(u""), u"");
}

TEST_F(Settings, AnEmptyRemoteNameReadsAsTheFallbackOfTheTable) {
  const auto settings = AllSettings();
  const auto row = std::find_if(settings.begin(), settings.end(), [](const SettingInfo& setting) {
    return setting.name == u"Remote Name";
  });
  ASSERT_NE(row, settings.end());
  EXPECT_EQ(ReadRemoteName(), row->fallback);
  home_.SetSetting(kConnectionParameters, u"Remote Name", u"");
  EXPECT_EQ(ReadRemoteName(), row->fallback);
  home_.SetSetting(kConnectionParameters, u"Remote Name", u"\\\\our\\drive");
  EXPECT_EQ(ReadRemoteName(), u"\\\\our\\drive");
}

TEST_F(Settings, UsedQuotaIsMissingUntilItIsStored) {
  EXPECT_EQ(ReadStoredUsedQuota(), std::nullopt);
  EXPECT_TRUE(RegistryKey::Open(kKeyPath, KeyMode::kOpen)) << "looking it up makes the key";
  home_.SetSetting(kConnectionParameters, u"OLdUsedQuota", u"5368709120");
  EXPECT_EQ(ReadStoredUsedQuota(), 5368709120);
}

TEST_F(Settings, UsedQuotaOfAnotherTypeIsMissing) {
  WriteRaw(u"OLdUsedQuota", kRegDword, std::string("\1\0\0\0", 4));
  EXPECT_EQ(ReadStoredUsedQuota(), std::nullopt);
}

TEST_F(Settings, UsedQuotaHasABufferOf2000Bytes) {
  home_.SetSetting(kConnectionParameters, u"OLdUsedQuota", u"7" + Text(998, u' '));
  EXPECT_EQ(ReadStoredUsedQuota(), 7);
  home_.SetSetting(kConnectionParameters, u"OLdUsedQuota", u"7" + Text(999, u' '));
  EXPECT_EQ(ReadStoredUsedQuota(), std::nullopt);
}

TEST_F(Settings, UsedQuotaStopsAtTheFirstNonDigit) {
  home_.SetSetting(kConnectionParameters, u"OLdUsedQuota", u" 12x4");
  EXPECT_EQ(ReadStoredUsedQuota(), 12);
  home_.SetSetting(kConnectionParameters, u"OLdUsedQuota", u"none");
  EXPECT_EQ(ReadStoredUsedQuota(), 0);
}

TEST_F(Settings, AccountQuotaIsZeroWhenMissing) {
  EXPECT_EQ(ReadAccountQuota(), 0);
  home_.SetSetting(kConnectionParameters, u"Quota", u"10737418240");
  EXPECT_EQ(ReadAccountQuota(), 10737418240);
}

TEST_F(Settings, AccountQuotaOfTheMachineStandsInForTheUsers) {
  ASSERT_TRUE(testing::WriteMachineValue(kKeyPath, u"Quota", kRegSz, Bytes(Text(u"77\0", 3))));
  EXPECT_EQ(ReadAccountQuota(), 77);
  home_.SetSetting(kConnectionParameters, u"Quota", u"55");
  EXPECT_EQ(ReadAccountQuota(), 55);
}

TEST(SettingsTable, NamesEveryValueThatTheProductReads) {
  std::set<Text> names;
  for (const SettingInfo& setting : AllSettings()) names.insert(Text(setting.name));
  for (const TextView name :
       {u"UserName",   u"Password",     u"SSL",         u"CurrentUser", u"Account_Type",
        u"WebServer",  u"Appserver",    u"ZVSync_usr",  u"ZVSync_psd",  u"<user>_ZVSync_enc",
        u"ProxyName",  u"ProxyPort",    u"ProxyUser",   u"ProxyPass",   u"Local Name",
        u"UNC Server", u"UNC Share",    u"Remote Name", u"Quota",       u"OLdUsedQuota",
        u"<user>",     u"<CurrentUser>"}) {
    EXPECT_TRUE(names.contains(Text(name))) << ToUtf8(name);
  }
  EXPECT_TRUE(names.contains(u"Faster with Compression"));
  EXPECT_TRUE(names.contains(u"Intelligent Cache"));
  EXPECT_TRUE(names.contains(u"Application Path"));
}

TEST(SettingsTable, HasEachValueOnceWithAUnitAndHelp) {
  std::set<std::pair<Text, Text>> seen;
  for (const SettingInfo& setting : AllSettings()) {
    EXPECT_TRUE(seen.insert({Text(setting.sub_key), Text(setting.name)}).second);
    EXPECT_FALSE(setting.help.empty()) << ToUtf8(setting.name);
    const TextView units[] = {u"text", u"flag", u"bytes", u"port", u"secret"};
    EXPECT_NE(std::find(std::begin(units), std::end(units), setting.unit), std::end(units))
        << ToUtf8(setting.name);
  }
}

}  // namespace
}  // namespace zv
