// A download of "/big.bin" into a local file, in virtual time.
#pragma once

#include <string>

#include "tests/webdav/account_fixture.h"
#include "worker/progress.h"

namespace zv::testing {

inline constexpr TextView kRemote = u"/big.bin";
inline constexpr const char* kRemoteLine = "GET /users/anna/Files/big%2Ebin";
inline constexpr TextView kLocal = u"C:\\Apps\\Host\\big.part";
inline constexpr size_t kChunk = 51200;
inline constexpr const char* kOldTime = "Sun, 06 Nov 1994 08:49:37 GMT";
inline constexpr const char* kNewTime = "Mon, 07 Nov 1994 08:49:37 GMT";
inline constexpr FileTime kOldFileTime{.value = 124'285'853'770'000'000};

struct Progress {
  int32_t kind = 0;
  Text name;
  uint32_t first = 0;
  uint32_t second = 0;
  uint32_t elapsed = 0;
};

inline Progress ReadProgress() {
  Progress progress;
  char16_t name[260] = {};
  progress.kind = ReadProgressDetails(name, &progress.first, &progress.second, &progress.elapsed,
                                      /*mode=*/0);
  progress.name = name;
  return progress;
}

inline void AskToCancel(TextView transfer) {
  char16_t name[260] = {};
  transfer.copy(name, 259);
  ReadProgressDetails(name, nullptr, nullptr, nullptr, /*mode=*/1);
}

class DownloadTest : public AccountTest {
 protected:
  DownloadTest() { MakeFolders(u"C:\\Apps\\Host"); }

  // The whole content, or the part that the request asks for.
  static Reply Serve(const Request& request, const std::string& content) {
    return Reply::Content(request, content).Header("Last-Modified", kOldTime);
  }
  std::string Local() const { return ReadFileBytes(kLocal).value_or("(missing)"); }
  std::vector<std::string> Ranges() const {
    std::vector<std::string> ranges;
    for (const Request& request : server_.requests()) ranges.push_back(request.Header("Range"));
    return ranges;
  }

  const std::string content_ = PatternBytes(7, 5 * kChunk);
  VirtualClock clock_;
  CWebDAV client_;
};

}  // namespace zv::testing
