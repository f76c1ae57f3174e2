// The question for a folder's size as the script server gets it, on its TLS port.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <future>
#include <thread>

#include "tests/support/socket.h"
#include "tests/upload/upload_fixture.h"

extern char** environ;

namespace zv::testing {
namespace {

constexpr int kPatienceMs = 20000;

// A program with its input and output in hand; ended with the object.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipes");
    }
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    EXPECT_EQ(posix_spawnp(&child_, pointers[0], &actions, nullptr, pointers.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    in_ = in[1];
    out_ = out[0];
  }
  ~Program() {
    if (child_ > 0) kill(child_, SIGTERM);
    Wait();
    close(in_);
    close(out_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  bool has_ended() { return child_ <= 0 || waitpid(child_, &status_, WNOHANG) != 0; }
  int Wait() {
    if (child_ > 0) waitpid(child_, &status_, 0);
    child_ = 0;
    return status_;
  }
  // What it writes, up to the first of these ends; less when nothing more comes.
  std::string ReadTo(std::string_view end) {
    std::string text;
    pollfd wanted{.fd = out_, .events = POLLIN, .revents = 0};
    char piece[4096];
    while (text.find(end) == std::string::npos && poll(&wanted, 1, kPatienceMs) > 0) {
      const ssize_t count = read(out_, piece, sizeof piece);
      if (count <= 0) break;
      text.append(piece, static_cast<size_t>(count));
    }
    return text;
  }
  void Write(std::string_view text) {
    EXPECT_EQ(write(in_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

 private:
  pid_t child_ = 0;
  int status_ = -1;
  int in_ = -1;
  int out_ = -1;
};

class FolderSizeRequestTest : public UploadTest {
 protected:
  void SetUp() override {
    // Nobody has this address on port 80 but the fixture's server, and so on port 443.
    const std::string address = server_.address();
    home_.SetSetting(kConnectionSubKey, u"anna", FromUtf8(address) + u";");
    folder_ =
        std::filesystem::temp_directory_path() / ("zvworker-size-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder_);
    const std::string certificate = (folder_ / "certificate.pem").string();
    const std::string key = (folder_ / "key.pem").string();
    // A certificate that its client has to excuse: of an unknown authority, for another name.
    Program make({"openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
                  "/CN=another.invalid", "-out", certificate, "-keyout", key});
    ASSERT_EQ(make.Wait(), 0);
    script_server_.emplace(std::vector<std::string>{"openssl", "s_server", "-quiet", "-accept",
                                                    address + ":443", "-cert", certificate, "-key",
                                                    key});
    while (!Socket::Connect(address, 443).is_open()) {
      ASSERT_FALSE(script_server_->has_ended()) << "the server did not start";
      std::this_thread::yield();
    }
  }
  void TearDown() override {
    script_server_.reset();
    std::filesystem::remove_all(folder_);
  }

  // Asks for a folder's size, which the server tells as 1.5 kilobytes; the question's head.
  std::string Ask(TextView folder) {
    auto size = std::async(std::launch::async, [&] { return client_.GetFolderSizeInByte(folder); });
    std::string head = script_server_->ReadTo("\r\n\r\n");
    script_server_->Write("HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\n1.5");
    EXPECT_EQ(size.get(), 1536U);
    return head;
  }

 private:
  std::filesystem::path folder_;
  std::optional<Program> script_server_;
};

TEST_F(FolderSizeRequestTest, EveryFolderIsAskedForWithASlashBehindIt) {
  struct Case {
    TextView folder;
    std::string_view path;
  };
  constexpr Case kCases[] = {{u"/My docs", "/My%20docs%2F"},
                             {u"/My docs/", "/My%20docs/%2F"},
                             {u"\\a.b\\\u00e9", "/a%2Eb/%C3%A9%2F"},
                             {u"/", "/%2F"},
                             {u"", "%2F"}};
  for (const Case& asked : kCases) {
    const std::string head = Ask(asked.folder);
    EXPECT_TRUE(head.starts_with("GET /cgi-bin/compute_size_long.cgi?user=anna&pass=secret&path=" +
                                 std::string(asked.path) + " HTTP/1.0\r\n"))
        << head;
    EXPECT_NE(head.find("\r\nUser-Agent: Cirrux Mail\r\n"), std::string::npos) << head;
    EXPECT_EQ(head.find("Authorization:"), std::string::npos) << head;
  }
}

}  // namespace
}  // namespace zv::testing
