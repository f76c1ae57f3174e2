// Settings to session, and the login probe.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "tests/webdav/replies.h"
#include "webdav/retry.h"

namespace zv::testing {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::StartsWith;

// Login attempts' header blocks, as they are handed to the send.
size_t Occurrences(TextView text, TextView piece) {
  size_t count = 0;
  for (size_t at = text.find(piece); at != TextView::npos; at = text.find(piece, at + 1)) ++count;
  return count;
}

// The relay's address belongs to no test: others of the machine may use it for a while.
std::unique_ptr<HttpServer> ListenAsRelay() {
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  for (;;) {
    try {
      return std::make_unique<HttpServer>("127.0.0.1", 53729);
    } catch (const std::runtime_error&) {
      if (std::chrono::steady_clock::now() > give_up) throw;
      std::this_thread::yield();
    }
  }
}

using SettingsTest = HomeTest;

TEST_F(SettingsTest, ReadsTheAccount) {
  home_.SetAccount(u"dav.example", u"anna", u"secret");
  const OpenClient client;
  EXPECT_EQ(client.settings().server_host, u"dav.example");
  EXPECT_EQ(client.settings().user_name, u"anna");
  EXPECT_EQ(client.settings().password, u"secret");
  EXPECT_FALSE(client.settings().use_ssl);
  EXPECT_FALSE(client.settings().use_compression);
  EXPECT_FALSE(client.settings().use_proxy);
  EXPECT_EQ(client.account_root(), u"/users/anna/Files");
  EXPECT_EQ(client.status_code(), 0u);
  EXPECT_NE(client.connection_, nullptr);
}

TEST_F(SettingsTest, ReadingThemSetsTheRetries) {
  home_.SetAccount(u"dav.example", u"anna", u"secret");
  SetRetrySettings(0, 0);
  const CWebDAV client;
  EXPECT_EQ(RetryCount(), 3);
  EXPECT_EQ(RetryWait(), 5000);
}

TEST_F(SettingsTest, APasswordWithoutAColonIsEmpty) {
  home_.SetAccount(u"dav.example", u"anna", u"secret");
  home_.SetSetting(kConnectionSubKey, u"Password", RaiseBy20(u"secret"));
  EXPECT_EQ(CWebDAV().settings().password, u"");
}

TEST_F(SettingsTest, FlagsAreNumbers) {
  home_.SetAccount(u"dav.example", u"anna", u"secret");
  home_.SetSetting(kConnectionSubKey, u"SSL", u" -7x");
  home_.SetSetting(kSettingsSubKey, u"Faster with Compression", u"2");
  EXPECT_TRUE(CWebDAV().settings().use_ssl);
  EXPECT_FALSE(CWebDAV().settings().use_compression);
  home_.SetSetting(kConnectionSubKey, u"SSL", u"yes");
  home_.SetSetting(kSettingsSubKey, u"Faster with Compression", u"3");
  EXPECT_FALSE(CWebDAV().settings().use_ssl);
  EXPECT_TRUE(CWebDAV().settings().use_compression);
}

TEST_F(SettingsTest, AServerWithoutASemicolonIsNone) {
  home_.SetAccount(u"dav.example", u"anna", u"secret");
  home_.SetSetting(kConnectionSubKey, u"anna", u"dav.example");
  EXPECT_EQ(CWebDAV().settings().server_host, u"");
}

TEST_F(SettingsTest, TheServersValueIsNamedByTheCurrentUser) {
  home_.SetAccount(u"dav.example", u"anna", u"secret");
  home_.SetSetting(kConnectionSubKey, u"CurrentUser", u"other");
  home_.SetSetting(kConnectionSubKey, u"other", u"second.example;more;");
  EXPECT_EQ(CWebDAV().settings().server_host, u"second.example");
  EXPECT_EQ(CWebDAV().settings().user_name, u"anna");
}

TEST_F(SettingsTest, ASyncAccountsServerIsItsWebServer) {
  home_.SetAccount(u"web.example", u"anna", u"secret", {.account_type = u"ZVSYNC"});
  home_.SetSetting(kConnectionSubKey, u"anna", u"dav.example;");
  EXPECT_EQ(CWebDAV().settings().server_host, u"web.example");
}

TEST_F(SettingsTest, ReadsTheProxy) {
  home_.SetAccount(u"dav.example", u"anna", u"secret",
                   {.proxy_name = u"proxy.example",
                    .proxy_port = 3128,
                    .proxy_user = u"pu",
                    .proxy_password = u"pw"});
  const CWebDAV client;
  EXPECT_TRUE(client.settings().use_proxy);
  EXPECT_EQ(client.settings().proxy_host, u"proxy.example");
  EXPECT_EQ(client.settings().proxy_port, 3128);
  EXPECT_EQ(client.settings().proxy_user, u"pu");
  EXPECT_EQ(client.settings().proxy_password, u"pw");
}

TEST_F(SettingsTest, AnEmptyProxyNameIsNoProxyWhateverThePort) {
  home_.SetAccount(u"dav.example", u"anna", u"secret");
  home_.SetSetting(kConnectionSubKey, u"ProxyPort", u"3128");
  EXPECT_FALSE(CWebDAV().settings().use_proxy);
  EXPECT_EQ(CWebDAV().settings().proxy_port, 0);
}

TEST_F(SettingsTest, AStoredProxyPasswordOfSixCharactersIsEmpty) {
  home_.SetAccount(u"dav.example", u"anna", u"secret", {.proxy_name = u"proxy.example"});
  for (const TextView stored : {u"sixsix", u"five5", u""}) {
    home_.SetSetting(kConnectionSubKey, u"ProxyPass", RaiseBy20(stored));
    EXPECT_EQ(CWebDAV().settings().proxy_password, u"");
  }
}

TEST_F(SettingsTest, WithoutThemTheClientIsUselessAndSaysSo) {
  OpenClient client;
  EXPECT_EQ(client.connection_, nullptr);
  EXPECT_THAT(ToUtf8(home_.LogText(u"DavDebug.txt")),
              StartsWith("Could not read registry for connection details, Reason : "));
  EXPECT_FALSE(client.SendDAVRequest(u"OPTIONS", u"/"));
  DirectoryEntry* entries = nullptr;
  EXPECT_FALSE(client.GetDirectoryContents(u"/", &entries));
  EXPECT_EQ(entries, nullptr);
}

TEST_F(SettingsTest, WithoutThePreferencesKeyNothingIsRead) {
  home_.SetSetting(kConnectionSubKey, u"UserName", u"anna");
  OpenClient client;
  EXPECT_FALSE(client.ReadConnectionSettings());
  EXPECT_EQ(client.settings().user_name, u"");
}

TEST_F(SettingsTest, WithoutAServerThereIsNoConnection) {
  home_.SetAccount(u"", u"anna", u"secret");
  OpenClient client;
  EXPECT_EQ(client.connection_, nullptr);
  EXPECT_THAT(ToUtf8(home_.LogText(u"DavDebug.txt")),
              StartsWith("Error in PrepareConnectionHandle, Reason: "));
  const Text reason = client.GetErrorMessage();
  EXPECT_FALSE(client.SendDAVRequest(u"OPTIONS", u"/"));
  EXPECT_TRUE(home_.LogHasLine(u"DavDebug.txt", u"Error calling OPTIONS, Reason: " + reason));
}

using LoginTest = ClientTest;

TEST_F(LoginTest, AsksOnceWhenAllIsWell) {
  server_.Enqueue(Reply::Status(200));
  CWebDAV client;
  EXPECT_EQ(client.LoginToServer(u"bert", u"other"), 200u);
  EXPECT_THAT(server_.lines(), ElementsAre("OPTIONS /users/bert/Files"));
  const Request request = server_.requests().at(0);
  EXPECT_EQ(request.Header("Authorization"), "Basic YmVydDpvdGhlcg==");  // bert:other
  EXPECT_EQ(request.Header("User-Agent"), "Cirrux App");
  EXPECT_EQ(client.account_root(), u"/users/bert/Files");
  EXPECT_EQ(home_.LogText(u"DavDebug.txt"),
            u"Attempting login for the 1 time\r\n"
            u"Finished making a Webdav call OPTIONS, with response 200\r\n");
}

TEST_F(LoginTest, RefusalsEndIt) {
  for (const int status : {401, 403, 407}) {
    server_.ClearRequests();
    server_.Enqueue(Reply::Status(status)
                        .Header("WWW-Authenticate", "Basic realm=\"r\"")
                        .Header("Proxy-Authenticate", "Basic realm=\"p\""));
    EXPECT_EQ(CWebDAV().LoginToServer(u"anna", u"wrong"), static_cast<uint32_t>(status));
    EXPECT_EQ(server_.request_count(), 1u) << status;
  }
}

TEST_F(LoginTest, AServerErrorIsTriedThreeTimes) {
  server_.On([](const Request&) { return Reply::Status(500); });
  OpenClient client;
  EXPECT_EQ(client.LoginToServer(u"anna", u"secret"), 500u);
  EXPECT_EQ(server_.request_count(), 3u);
  for (const Request& request : server_.requests()) {
    EXPECT_EQ(request.Header("Authorization"), kAuthorization);
  }
  for (const TextView line :
       {u"Attempting login for the 1 time", u"Attempting login for the 2 time",
        u"Attempting login for the 3 time"}) {
    EXPECT_TRUE(home_.LogHasLine(u"DavDebug.txt", line));
  }
}

TEST_F(LoginTest, TheSecondAttemptCarriesTwoAuthorizationLines) {
  server_.Enqueue(Reply::Status(500));
  server_.Enqueue(Reply::Status(200));
  OpenClient client;
  EXPECT_EQ(client.LoginToServer(u"anna", u"secret"), 200u);
  EXPECT_EQ(client.request_headers_,
            u"\n\nAuthorization: Basic YW5uYTpzZWNyZXQ="
            u"\n\nAuthorization: Basic YW5uYTpzZWNyZXQ=");
  EXPECT_EQ(server_.requests().at(1).Header("Authorization"), kAuthorization);
}

TEST_F(LoginTest, NoReplyIsZeroAfterThreeAttempts) {
  server_.On([](const Request&) { return Reply::Reset(); });
  OpenClient client;
  EXPECT_EQ(client.LoginToServer(u"anna", u"secret"), 0u);
  EXPECT_EQ(Occurrences(client.request_headers_, u"Authorization"), 3u);
  EXPECT_EQ(Occurrences(home_.LogText(u"DavDebug.txt"), u"Error calling OPTIONS, Reason: "), 3u);
}

TEST_F(LoginTest, AReplyAfterASilenceCounts) {
  server_.Enqueue(Reply::Raw("garbage\r\n\r\n"));
  server_.Enqueue(Reply::Raw("garbage\r\n\r\n"));
  server_.Enqueue(Reply::Status(403));
  EXPECT_EQ(CWebDAV().LoginToServer(u"anna", u"secret"), 403u);
}

TEST_F(LoginTest, TheRelayGetsEverythingInClear) {
  const auto relay = ListenAsRelay();
  relay->On([](const Request&) { return Reply::Status(200); });
  home_.SetAccount(u"dav.example", u"anna", u"secret",
                   {.ssl = true,
                    .compression = true,
                    .proxy_name = u"proxy.example",
                    .proxy_port = 1,
                    .proxy_user = u"u",
                    .proxy_password = u"p"});
  OpenClient client;
  EXPECT_EQ(client.LoginToServer(u"anna", u"secret"), 200u);
  EXPECT_EQ(client.request_flags_, kFlagNoCacheWrite);
  EXPECT_THAT(relay->lines(), ElementsAre("OPTIONS /users/anna/Files"));
  EXPECT_EQ(relay->requests().at(0).CountHeaders("Proxy-Authorization"), 0u);
}

TEST_F(LoginTest, PreparingAgainBeginsAnew) {
  server_.On([](const Request&) { return Reply::Status(200).Body("body"); });
  OpenClient client;
  ASSERT_TRUE(client.SendDAVRequest(u"GET", u"/a"));
  client.PrepareConnectionHandle();
  EXPECT_EQ(client.request_, nullptr);
  EXPECT_TRUE(client.SendDAVRequest(u"GET", u"/b"));
  EXPECT_THAT(server_.lines(), ElementsAre("GET /a", "GET /b"));
}

class ProxyClientTest : public HomeTest {
 protected:
  ProxyClientTest() {
    home_.SetAccount(u"dav.invalid", u"anna", u"secret",
                     {.proxy_name = proxy_.host(),
                      .proxy_port = proxy_.port(),
                      .proxy_user = u"abc",
                      .proxy_password = u"longer"});
  }
  HttpServer proxy_;
};

TEST_F(ProxyClientTest, TheProxyIsAskedForTheServersPath) {
  proxy_.On([](const Request& request) {
    return request.CountHeaders("Proxy-Authorization") == 0
               ? Reply::Status(407).Header("Proxy-Authenticate", "Basic realm=\"p\"")
               : Reply::Status(200);
  });
  OpenClient client;
  ASSERT_TRUE(client.SendDAVRequest(u"OPTIONS", u"/users/anna/Files"));
  EXPECT_EQ(client.status_code(), 200u);
  const Request request = proxy_.requests().back();
  EXPECT_THAT(request.target, AnyOf("http://dav.invalid/users/anna/Files",
                                    "http://dav.invalid:80/users/anna/Files"));
  // abc:lon: of the password as many characters count as the user has.
  EXPECT_EQ(request.Header("Proxy-Authorization"), "Basic YWJjOmxvbg==");
}

TEST_F(ProxyClientTest, AShortPasswordIsNotReadPastItsEnd) {
  home_.SetSetting(kConnectionSubKey, u"ProxyPass", RaiseBy20(u"Prefixpw"));
  home_.SetSetting(kConnectionSubKey, u"ProxyUser", u"averylonguser");
  proxy_.On([](const Request& request) {
    return request.CountHeaders("Proxy-Authorization") == 0
               ? Reply::Status(407).Header("Proxy-Authenticate", "Basic realm=\"p\"")
               : Reply::Status(200);
  });
  OpenClient client;
  ASSERT_TRUE(client.SendDAVRequest(u"OPTIONS", u"/"));
  EXPECT_EQ(proxy_.requests().back().Header("Proxy-Authorization"),
            "Basic YXZlcnlsb25ndXNlcjpwdw==");  // averylonguser:pw
}

}  // namespace
}  // namespace zv::testing
