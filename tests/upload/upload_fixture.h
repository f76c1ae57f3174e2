// Uploads of "/big.bin" from a local file, in virtual time.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <tuple>

#include "tests/webdav/account_fixture.h"
#include "upload/backup_dav.h"
#include "worker/progress.h"

namespace zv::testing {

inline constexpr TextView kResource = u"/big.bin";
inline constexpr const char* kPut = "PUT /users/anna/Files/big%2Ebin";
inline constexpr const char* kGet = "GET /users/anna/Files/big%2Ebin";
inline constexpr TextView kSource = u"C:\\Apps\\Host\\big.bin";
inline constexpr const char* kTimeText = "Sun, 06 Nov 1994 08:49:37 GMT";
inline constexpr FileTime kTime{.value = 124'285'853'770'000'000};

inline std::tuple<int32_t, Text, uint32_t, uint32_t> ReadProgress() {
  char16_t name[260] = {};
  uint32_t first = 0;
  uint32_t second = 0;
  const int32_t kind = ReadProgressDetails(name, &first, &second, nullptr, 0);
  return {kind, Text(name), first, second};
}

inline void AskToCancel(TextView transfer) {
  char16_t name[260] = {};
  transfer.copy(name, 259);
  ReadProgressDetails(name, nullptr, nullptr, nullptr, 1);
}

class UploadTest : public AccountTest {
 protected:
  explicit UploadTest(const AccountOptions& options = {}) : AccountTest(options) {
    MakeFolders(home_.CacheFolder(u"anna"));
  }

  void MakeSource(std::string_view content) { WriteFileBytes(kSource, content); }
  // Zeros that take no room.
  void MakeLargeSource(int64_t size) {
    MakeSource("");
    File::Open(kSource, Access::kWrite, Disposition::kOpenExisting).SetSize(size);
  }
  uint32_t Upload(int16_t& retry_count, uint32_t offset) {
    return client_.CacheUploadFile(kSource, kResource, retry_count, offset);
  }
  bool Transfer() { return client_.LocalFileTransfer(kSource, kResource); }

  // A server that stores what is put whole and answers for its length.
  void Store() {
    // The server may still be answering when the test is gone.
    server_.On([stored = std::make_shared<std::atomic<uint64_t>>(0)](const Request& request) {
      if (request.verb == "PUT") {
        *stored = request.body_size;
        return Reply::Status(201);
      }
      return Reply::Status(200).Header("Last-Modified", kTimeText).LongBody(*stored);
    });
  }

  std::function<void()> on_sleep_;
  VirtualClock clock_{[this](uint32_t) {
    if (on_sleep_) on_sleep_();
  }};
  CBackupDAV client_;
};

}  // namespace zv::testing
