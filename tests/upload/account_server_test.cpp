// Uploads, reads of a part and folder sizes on a real server of accounts.
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "tests/support/socket.h"
#include "tests/upload/cutting_relay.h"
#include "tests/webdav/account_fixture.h"
#include "upload/backup_dav.h"

namespace zv::testing {
namespace {

namespace fs = std::filesystem;

constexpr TextView kResource = u"/big.bin";
constexpr TextView kSource = u"C:\\Apps\\Host\\big.bin";
constexpr uint16_t kPort = 80;

// Different processes use different addresses, so that they may run at once.
std::string AddressIn(int network) {
  const int process = getpid();
  return "127." + std::to_string(network) + "." + std::to_string(process / 250 % 250) + "." +
         std::to_string(process % 250 + 1);
}

// The account server with the account anna:secret and its files.
class AccountServer {
 public:
  AccountServer() {
    std::string folder = (fs::temp_directory_path() / "zvworker-accounts-").string();
    folder.append(6, 'X');
    if (!mkdtemp(folder.data())) throw std::runtime_error("no folder for the accounts");
    data_ = folder;
    Run("start --address " + address_ + " --user anna:secret");
  }
  ~AccountServer() {
    Run("stop");
    fs::remove_all(data_);
  }
  AccountServer(const AccountServer&) = delete;
  AccountServer& operator=(const AccountServer&) = delete;

  const std::string& address() const { return address_; }
  fs::path files() const { return data_ / "users/anna/Files"; }
  // Whether an upload has begun that may be continued when it breaks.
  bool keeps_an_upload() const {
    const fs::path kept = data_ / "users/anna/kept";
    return fs::exists(kept) && !fs::is_empty(kept);
  }

  void Write(const fs::path& name, std::string_view bytes) const {
    fs::create_directories((files() / name).parent_path());
    std::ofstream(files() / name, std::ios::binary) << bytes;
  }
  std::string Read(const fs::path& name) const {
    std::ifstream file(files() / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  void Run(const std::string& arguments) const {
    const std::string command =
        ZV_ACCOUNT_SERVER " " + arguments + " --data " + data_.string() + " >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
  }

  fs::path data_;
  const std::string address_ = AddressIn(43);
};

class AccountServerTest : public HomeTest {
 protected:
  AccountServerTest() { UseHost(server_.address()); }

  void UseHost(const std::string& host) { home_.SetAccount(FromUtf8(host), u"anna", u"secret"); }
  // Puts the beginning of a file, by hand, and breaks off.
  void BreakUpload(std::string_view beginning, size_t whole) const {
    Socket socket = Socket::Connect(server_.address(), kPort);
    const std::string head =
        "PUT /users/anna/Files/big.bin HTTP/1.1\r\nHost: x\r\n"
        "Authorization: Basic YW5uYTpzZWNyZXQ=\r\nContent-Length: " +
        std::to_string(whole) + "\r\n\r\n";
    EXPECT_TRUE(socket.Send(head.data(), head.size()));
    EXPECT_TRUE(socket.Send(beginning.data(), beginning.size()));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!server_.keeps_an_upload() && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::yield();
    }
    EXPECT_TRUE(server_.keeps_an_upload());
  }

  VirtualClock clock_;
  AccountServer server_;
};

TEST_F(AccountServerTest, ABrokenUploadOverAnOlderLongerVersionEndsWhole) {
  const std::string content = PatternBytes(1, 32 << 20);
  server_.Write("big.bin", PatternBytes(500, 40 << 20));
  WriteFileBytes(kSource, content);
  const CuttingRelay relay(AddressIn(44), server_.address(), kPort, 3 << 20);
  UseHost(AddressIn(44));
  CBackupDAV client;
  EXPECT_TRUE(client.LocalFileTransfer(kSource, kResource));
  EXPECT_TRUE(client.last_transfer_stored()) << ToUtf8(client.last_transfer_failure());
  EXPECT_TRUE(server_.Read("big.bin") == content);
  EXPECT_GE(clock_.slept_ms(), 5000U);
}

TEST_F(AccountServerTest, AResumedUploadContinuesTheBytesThatTheServerKept) {
  const std::string content = PatternBytes(1, 204800);
  server_.Write("big.bin", PatternBytes(500, 300000));
  WriteFileBytes(kSource, content);
  BreakUpload(std::string_view(content).substr(0, 102400), content.size());
  CBackupDAV client;
  int16_t retry_count = 2;
  EXPECT_EQ(client.CacheUploadFile(kSource, kResource, retry_count, 102400), 204800U);
  EXPECT_EQ(client.status_code(), 204U);
  EXPECT_TRUE(server_.Read("big.bin") == content);
  EXPECT_TRUE(client.VerifyBkpFile(kResource, 204800));
}

// Its bytes would land in a version that they do not belong to.
TEST_F(AccountServerTest, ARangeThatContinuesNothingStartsOver) {
  const std::string old = PatternBytes(500, 300000);
  const std::string content = PatternBytes(1, 204800);
  server_.Write("big.bin", old);
  WriteFileBytes(kSource, content);
  CBackupDAV client;
  int16_t retry_count = 2;
  EXPECT_EQ(client.CacheUploadFile(kSource, kResource, retry_count, 102400), 0U);
  EXPECT_EQ(client.status_code(), 400U);
  EXPECT_TRUE(server_.Read("big.bin") == old);
  EXPECT_EQ(client.CacheUploadFile(kSource, kResource, retry_count, 0), 204800U);
  EXPECT_TRUE(server_.Read("big.bin") == content);
}

TEST_F(AccountServerTest, AFolderThatIsMissingEndsTheUpload) {
  WriteFileBytes(kSource, "abc");
  CBackupDAV client;
  EXPECT_TRUE(client.LocalFileTransfer(kSource, u"/missing/big.bin"));
  EXPECT_FALSE(client.last_transfer_stored());
  EXPECT_EQ(client.status_code(), 409U);
}

TEST_F(AccountServerTest, TheBeginningOfAnEmptyFileHasNoBytes) {
  server_.Write("empty", "");
  CWebDAV client;
  TransferRequest request{.path = u"/empty", .length = 51199};
  EXPECT_TRUE(client.StartRestore(request, true));
  EXPECT_EQ(request.file_size, 0);
}

TEST_F(AccountServerTest, TellsTheSizeOfAFolder) {
  server_.Write("My docs/\u00e9/a", std::string(1000, 'a'));
  server_.Write("My docs/b", std::string(2000, 'b'));
  server_.Write("c", std::string(70000, 'c'));
  CBackupDAV client;
  EXPECT_EQ(client.GetFolderSizeInByte(u"/My docs/"), 3000U);
  EXPECT_EQ(client.GetFolderSizeInByte(u"/My docs"), 3000U);
  EXPECT_EQ(client.GetFolderSizeInByte(u"/My docs/\u00e9/"), 1000U);
  EXPECT_EQ(client.GetFolderSizeInByte(u"/"), 73000U);
  EXPECT_EQ(client.GetFolderSizeInByte(u"/missing/"), 0U);
}

TEST_F(AccountServerTest, AWrongPasswordGetsNoSize) {
  server_.Write("c", "abc");
  home_.SetAccount(FromUtf8(server_.address()), u"anna", u"wrong");
  CBackupDAV client;
  EXPECT_EQ(client.GetFolderSizeInByte(u"/"), 0U);
}

}  // namespace
}  // namespace zv::testing
