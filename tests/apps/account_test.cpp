// The account's settings: stored forms, what is refused, what is shown.
#include "apps/zvdrive/account.h"

#include <gmock/gmock.h>

#include "apps/zvdrive/commands.h"
#include "tests/support/test_home.h"

namespace zv::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Pair;

class AccountTest : public HomeTest {
 protected:
  static AccountChanges Basic() {
    AccountChanges changes;
    changes.server = u"files.example.org";
    changes.user = u"ann";
    changes.password = u"secret";
    return changes;
  }
  std::optional<Text> Connection(TextView name) const {
    return home_.Setting(kConnectionSubKey, name);
  }
  // Refused, with the reason, and nothing was written.
  void ExpectRefused(const AccountChanges& changes, const std::string& reason) {
    EXPECT_THAT(SetAccount(changes), HasSubstr(reason));
    EXPECT_EQ(Connection(u"Local Name"), std::nullopt);
    EXPECT_EQ(Connection(u"UserName"), std::nullopt);
    EXPECT_EQ(Connection(u"Password"), std::nullopt);
  }
};

TEST_F(AccountTest, WritesTheFormsThatTheWorkerReads) {
  EXPECT_EQ(SetAccount(Basic()), "");
  EXPECT_EQ(Connection(u"UserName"), u"ann");
  EXPECT_EQ(Connection(u"CurrentUser"), u"ann");
  EXPECT_EQ(Connection(u"ann"), u"files.example.org;");
  EXPECT_EQ(Connection(u"WebServer"), u"files.example.org");
  EXPECT_EQ(Connection(u"Appserver"), u"files.example.org");
  // "secret:ann", each code raised by 20.
  EXPECT_EQ(Connection(u"Password"), u"\x87yw\x86y\x88Nu\x82\x82");
  EXPECT_EQ(Connection(u"ZVSync_usr"), u"ann");
  EXPECT_EQ(Connection(u"ZVSync_psd"), u"\x87yw\x86y\x88Nu\x82\x82");
  EXPECT_EQ(Connection(u"Local Name"), u"Z:");
  EXPECT_EQ(home_.Setting(kSettingsSubKey, u"Intelligent Cache"), u"1");
  EXPECT_EQ(home_.Setting(kSettingsSubKey, u"Faster with Compression"), u"0");
  EXPECT_EQ(home_.Setting(kApplicationSubKey, u"Application Path"), u"C:\\ZVWorker");
}

TEST_F(AccountTest, WritesSwitchesAndNumbersAsText) {
  AccountChanges changes = Basic();
  changes.ssl = true;
  changes.relay = true;
  changes.cache = false;
  changes.quota = int64_t{10} << 30;
  changes.drive_letter = u"y:";
  changes.application_path = u"D:\\Apps\\Host";
  EXPECT_EQ(SetAccount(changes), "");
  EXPECT_EQ(Connection(u"SSL"), u"1");
  EXPECT_EQ(Connection(u"Quota"), u"10737418240");
  EXPECT_EQ(Connection(u"Local Name"), u"y:");
  EXPECT_EQ(home_.Setting(kSettingsSubKey, u"Faster with Compression"), u"1");
  EXPECT_EQ(home_.Setting(kSettingsSubKey, u"Intelligent Cache"), u"0");
  EXPECT_EQ(home_.Setting(kApplicationSubKey, u"Application Path"), u"D:\\Apps\\Host");
}

TEST_F(AccountTest, WritesTheProxyWithItsPasswordBehindSixUnits) {
  AccountChanges changes = Basic();
  changes.proxy = u"proxy.example.org:3128";
  changes.proxy_user = u"px";
  changes.proxy_password = u"pw";
  EXPECT_EQ(SetAccount(changes), "");
  EXPECT_EQ(Connection(u"ProxyName"), u"proxy.example.org");
  EXPECT_EQ(Connection(u"ProxyPort"), u"3128");
  EXPECT_EQ(Connection(u"ProxyUser"), u"px");
  const Text stored = Connection(u"ProxyPass").value_or(u"");
  ASSERT_EQ(stored.size(), 8u);
  EXPECT_EQ(stored.substr(6), RaiseBy20(u"pw"));
}

TEST_F(AccountTest, AnEmptyProxyMeansNone) {
  AccountChanges changes = Basic();
  changes.proxy = u"proxy.example.org:3128";
  EXPECT_EQ(SetAccount(changes), "");
  changes.proxy = u"";
  EXPECT_EQ(SetAccount(changes), "");
  EXPECT_EQ(Connection(u"ProxyName"), u"");
}

TEST_F(AccountTest, LeavesAloneWhatIsNotGiven) {
  AccountChanges changes = Basic();
  changes.cache = false;
  changes.quota = 5;
  changes.drive_letter = u"Q:";
  EXPECT_EQ(SetAccount(changes), "");
  AccountChanges only_ssl;
  only_ssl.ssl = true;
  EXPECT_EQ(SetAccount(only_ssl), "");
  EXPECT_EQ(Connection(u"ann"), u"files.example.org;");
  EXPECT_EQ(Connection(u"Quota"), u"5");
  EXPECT_EQ(Connection(u"Local Name"), u"Q:");
  EXPECT_EQ(home_.Setting(kSettingsSubKey, u"Intelligent Cache"), u"0");
}

TEST_F(AccountTest, RefusesAPasswordThatTheStoredFormWouldCut) {
  AccountChanges changes = Basic();
  changes.password = u"sec:ret";
  ExpectRefused(changes, "a password with \":\" cannot be stored");
}

TEST_F(AccountTest, RefusesWhatWouldBeTooLongToBeReadAgain) {
  AccountChanges changes = Basic();
  changes.password = Text(506, u'x');
  ExpectRefused(changes, "too long");
  changes.password = Text(505, u'x');
  EXPECT_EQ(SetAccount(changes), "");
  EXPECT_EQ(ReadAccount().password, Text(505, u'x'));
}

TEST_F(AccountTest, RefusesUserNamesThatWouldOverwriteASetting) {
  for (const TextView user : {u"Quota", u"quota", u"UserName", u"OLdUsedQuota"}) {
    AccountChanges changes = Basic();
    changes.user = user;
    ExpectRefused(changes, "this user name is reserved");
  }
}

TEST_F(AccountTest, RefusesUserNamesThatNoPathCanHold) {
  for (const TextView user : {u"", u"a b", u"a:b", u"a/b", u"a\\b", u"a?b", u"a#b", u"a%b"}) {
    AccountChanges changes = Basic();
    changes.user = user;
    ExpectRefused(changes, "a user name is a word");
  }
}

TEST_F(AccountTest, RefusesUserNamesThatSignOnWouldSpellOtherwiseThanThePath) {
  for (const TextView user : {u"j\u00fcrgen", u"\u0430nna", u"\u65e5\u672c"}) {
    AccountChanges changes = Basic();
    changes.user = user;
    ExpectRefused(changes, "ASCII");
  }
}

TEST_F(AccountTest, RefusesAnEmptyPassword) {
  AccountChanges changes = Basic();
  changes.password = u"";
  ExpectRefused(changes, "an empty password");
}

TEST_F(AccountTest, RefusesToSetNothing) {
  ExpectRefused({}, "nothing to set");
  EXPECT_EQ(home_.Setting(kSettingsSubKey, u"Intelligent Cache"), std::nullopt);
}

TEST_F(AccountTest, RefusesServersThatAreMoreThanAHost) {
  for (const TextView server : {u"", u"http://a", u"a/b", u"a:80", u"a;b", u"a b"}) {
    AccountChanges changes = Basic();
    changes.server = server;
    ExpectRefused(changes, "a server is a host name");
  }
}

TEST_F(AccountTest, RefusesProxiesThatAreNoHostAndPort) {
  for (const TextView proxy : {u"host", u":80", u"host:", u"host:0", u"host:65536", u"host:80x",
                               u"host: 80", u"http://host:80", u"a:b:80", u"host:-1"}) {
    AccountChanges changes = Basic();
    changes.proxy = proxy;
    ExpectRefused(changes, "HOST:PORT");
  }
}

TEST_F(AccountTest, RefusesOtherNonsense) {
  AccountChanges changes = Basic();
  changes.quota = -1;
  ExpectRefused(changes, "a quota is");
  for (const TextView letter : {u"Z", u"ZZ:", u"1:", u":", u""}) {
    changes = Basic();
    changes.drive_letter = letter;
    ExpectRefused(changes, "a drive letter");
  }
  for (const TextView path : {u"", u"C:", u"C:\\", u"\\Apps", u"Apps\\Host"}) {
    changes = Basic();
    changes.application_path = path;
    ExpectRefused(changes, "an application path");
  }
}

TEST_F(AccountTest, RefusesAServerAPasswordOrATypeWithoutAUser) {
  AccountChanges changes;
  changes.server = u"files.example.org";
  ExpectRefused(changes, "give --user");
  changes = {};
  changes.password = u"secret";
  ExpectRefused(changes, "give --user");
  changes = {};
  changes.sync = true;
  ExpectRefused(changes, "give --user");
}

TEST_F(AccountTest, AnotherUserOfTheSameServerNeedsNoServer) {
  EXPECT_EQ(SetAccount(Basic()), "");
  AccountChanges changes;
  changes.user = u"bob";
  changes.password = u"other";
  EXPECT_EQ(SetAccount(changes), "");
  EXPECT_EQ(ReadAccount().server, u"files.example.org");
  EXPECT_EQ(ReadAccount().user, u"bob");
  EXPECT_EQ(Connection(u"ZVSync_usr"), u"bob");
}

TEST_F(AccountTest, AUserThatWasSetBeforeKeepsItsServer) {
  EXPECT_EQ(SetAccount(Basic()), "");
  AccountChanges other = Basic();
  other.user = u"bob";
  other.server = u"other.example.org";
  EXPECT_EQ(SetAccount(other), "");
  AccountChanges back;
  back.user = u"ann";
  EXPECT_EQ(SetAccount(back), "");
  EXPECT_EQ(ReadAccount().server, u"files.example.org");
}

TEST_F(AccountTest, ASyncAccountIsTypedAndKeyed) {
  AccountChanges changes = Basic();
  changes.sync = true;
  EXPECT_EQ(SetAccount(changes), "");
  EXPECT_EQ(Connection(u"Account_Type"), u"ZVSYNC");
  EXPECT_EQ(Connection(u"ann_ZVSync_enc"), RaiseBy20(u"DEFAULT"));
  EXPECT_TRUE(ReadAccount().is_sync);
  EXPECT_EQ(ReadAccount().server, u"files.example.org");
  AccountChanges other;
  other.user = u"bob";
  EXPECT_EQ(SetAccount(other), "");
  EXPECT_EQ(Connection(u"bob_ZVSync_enc"), RaiseBy20(u"DEFAULT"));
  AccountChanges ordinary;
  ordinary.sync = false;
  EXPECT_EQ(SetAccount(ordinary), "");
  EXPECT_EQ(Connection(u"Account_Type"), u"");
  EXPECT_FALSE(ReadAccount().is_sync);
}

TEST_F(AccountTest, ReadsWhatItWrote) {
  EXPECT_FALSE(ReadAccount().is_complete());
  EXPECT_EQ(SetAccount(Basic()), "");
  const Account account = ReadAccount();
  EXPECT_TRUE(account.is_complete());
  EXPECT_EQ(account.server, u"files.example.org");
  EXPECT_EQ(account.user, u"ann");
  EXPECT_EQ(account.password, u"secret");
  EXPECT_EQ(account.drive_letter, u"Z:");
  EXPECT_EQ(account.remote_name, u"\\\\cirrux\\drive");
}

// The code with which signing on ends before anybody is asked, and the text for a person.
std::pair<int, std::string> SignOnFailure() {
  try {
    CreateDriveFor(ReadAccount());
  } catch (const CommandError& error) {
    return {error.exit_code(), error.what()};
  }
  return {};
}

TEST_F(AccountTest, SigningOnWithoutAnAccountAsksForOne) {
  EXPECT_THAT(SignOnFailure(), Pair(kExitSignOn, HasSubstr("--server HOST --user NAME")));
}

TEST_F(AccountTest, SigningOnWithoutAPasswordAsksForThePasswordOnly) {
  AccountChanges changes = Basic();
  changes.password.reset();
  EXPECT_EQ(SetAccount(changes), "");
  EXPECT_THAT(SignOnFailure(), Pair(kExitSignOn, AllOf(HasSubstr("the password of ann is missing"),
                                                       HasSubstr("zvdrive account set --user ann"),
                                                       Not(HasSubstr("no account")))));
}

TEST_F(AccountTest, ShowsTheAccountWithoutItsSecrets) {
  AccountChanges changes = Basic();
  changes.proxy = u"proxy.example.org:3128";
  changes.proxy_user = u"px";
  changes.proxy_password = u"hidden";
  changes.ssl = true;
  changes.quota = 5;
  EXPECT_EQ(SetAccount(changes), "");
  const std::string shown = DescribeAccount();
  EXPECT_EQ(shown,
            "server            files.example.org\n"
            "user              ann\n"
            "password          set\n"
            "type              ordinary\n"
            "ssl               yes\n"
            "relay             no\n"
            "proxy             proxy.example.org:3128\n"
            "proxy user        px\n"
            "quota             5 bytes\n"
            "cache             yes\n"
            "drive             Z:\n"
            "application path  C:\\ZVWorker\n");
  EXPECT_THAT(shown, Not(HasSubstr("secret")));
  EXPECT_THAT(shown, Not(HasSubstr("hidden")));
}

TEST_F(AccountTest, AServerThatTheWorkerDoesNotReadIsNoServer) {
  EXPECT_EQ(SetAccount(Basic()), "");
  home_.SetSetting(kConnectionSubKey, u"ann", u"files.example.org");
  EXPECT_THAT(DescribeAccount(), HasSubstr("server            -\n"));
  EXPECT_FALSE(ReadAccount().is_complete());
}

TEST_F(AccountTest, ShowsThatNothingIsSet) {
  const std::string shown = DescribeAccount();
  EXPECT_THAT(shown, HasSubstr("server            -\n"));
  EXPECT_THAT(shown, HasSubstr("password          not set\n"));
}

}  // namespace
}  // namespace zv::testing
