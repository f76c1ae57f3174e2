// Certificates: a server with a self-made certificate for another name, and a proxy before it.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/platform/internet_fixture.h"
#include "tests/support/socket.h"

extern char** environ;

namespace zv::testing {
namespace {

constexpr uint32_t kIgnoreAuthority = 0x100;
constexpr uint32_t kIgnoreName = 0x1000;
constexpr uint32_t kIgnoreAll = 0x3180;

pid_t Start(std::vector<std::string> arguments) {
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  pid_t child = 0;
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  posix_spawn_file_actions_addopen(&quiet, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&quiet, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&quiet, 2, "/dev/null", O_WRONLY, 0);
  EXPECT_EQ(posix_spawnp(&child, pointers[0], &quiet, nullptr, pointers.data(), environ), 0);
  posix_spawn_file_actions_destroy(&quiet);
  return child;
}

class TlsTest : public InternetTest {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() / ("zvworker-tls-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder_);
    std::ofstream(folder_ / "page.txt") << "HTTP/1.0 200 ok\r\nContent-Length: 6\r\n\r\nsecret";
    const std::string certificate = (folder_ / "certificate.pem").string();
    const std::string key = (folder_ / "key.pem").string();
    int status = 1;
    waitpid(Start({"openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                   "-subj", "/CN=another.invalid", "-out", certificate, "-keyout", key}),
            &status, 0);
    ASSERT_EQ(status, 0);
    std::filesystem::current_path(folder_);  // files are served from there
    server_process_ = Start({"openssl", "s_server", "-accept", server_.address() + ":443", "-cert",
                             certificate, "-key", key, "-HTTP"});
    while (!Socket::Connect(server_.address(), 443).is_open()) {
      ASSERT_EQ(waitpid(server_process_, &status, WNOHANG), 0) << "the server did not start";
      std::this_thread::yield();
    }
  }

  void TearDown() override {
    if (server_process_ > 0) {
      kill(server_process_, SIGTERM);
      waitpid(server_process_, nullptr, 0);
    }
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder_);
  }

  // The body of the page, or the number of the error.
  std::string Ask(InternetSession& session, uint32_t security_flags) {
    HttpConnection connection(session, server_.host(), 443, u"", u"");
    HttpRequest request(connection, u"GET", u"/page.txt", u"", kFlagSecure);
    request.SetOption(kOptionSecurityFlags,
                      request.QueryOption(kOptionSecurityFlags) | security_flags);
    std::string body;
    const uint32_t code = ErrorOf([&] {
      ASSERT_TRUE(request.Send(u"", {}));
      body = ReadAll(request);
    });
    return code == 0 ? body : std::to_string(code);
  }

  InternetSession direct_{u"Test Agent", AccessType::kDirect, u""};

 private:
  std::filesystem::path folder_;
  pid_t server_process_ = 0;
};

TEST_F(TlsTest, CertificatesAreCheckedUnlessFlagsLetThemOff) {
  EXPECT_EQ(Ask(direct_, 0), "12045");
  EXPECT_EQ(Ask(direct_, kIgnoreName), "12045");
  EXPECT_EQ(Ask(direct_, kIgnoreAuthority), "12038");
  EXPECT_EQ(Ask(direct_, kIgnoreAuthority | kIgnoreName), "secret");
  EXPECT_EQ(Ask(direct_, kIgnoreAll), "secret");
}

TEST_F(TlsTest, AKeptConnectionDoesNotExcuseACertificate) {
  EXPECT_EQ(Ask(direct_, kIgnoreAll), "secret");
  EXPECT_EQ(Ask(direct_, 0), "12045");
}

TEST_F(TlsTest, AProxyTunnelsToTheServer) {
  server_.On([this](const Request& request) {
    return request.Header("Proxy-Authorization").empty() ? Reply::Status(407).Closing()
                                                         : Reply::Tunnel(server_.address(), 443);
  });
  InternetSession proxied(u"Test Agent", AccessType::kNamedProxy, server_.host() + u":80");
  HttpConnection connection(proxied, server_.host(), 443, u"", u"");
  HttpRequest request(connection, u"GET", u"/page.txt", u"", kFlagSecure);
  request.SetOption(kOptionSecurityFlags, kIgnoreAll);
  request.SetOption(kOptionProxyUser, u"user", 4);
  request.SetOption(kOptionProxyPassword, u"pass", 4);
  ASSERT_TRUE(request.Send(u"Authorization: Basic eDp5", {}));
  EXPECT_EQ(ReadAll(request), "secret");
  ASSERT_EQ(server_.lines(), std::vector<std::string>{"CONNECT " + server_.address() + ":443"});
  EXPECT_EQ(server_.requests().at(0).Header("Proxy-Authorization"), "Basic dXNlcjpwYXNz");
  EXPECT_EQ(server_.requests().at(0).CountHeaders("Authorization"), 0u);
}

TEST_F(TlsTest, AnUploadGoesThroughAProxysTunnel) {
  server_.On([this](const Request&) { return Reply::Tunnel(server_.address(), 443); });
  InternetSession proxied(u"Test Agent", AccessType::kNamedProxy, server_.host() + u":80");
  HttpConnection connection(proxied, server_.host(), 443, u"", u"");
  HttpRequest request(connection, u"GET", u"/page.txt", u"", kFlagSecure);
  request.SetOption(kOptionSecurityFlags, kIgnoreAll);
  ASSERT_TRUE(request.Begin(3));
  request.Write("abc", 3);
  ASSERT_TRUE(request.End());
  EXPECT_EQ(request.StatusCode(), 200u);
}

}  // namespace
}  // namespace zv::testing
