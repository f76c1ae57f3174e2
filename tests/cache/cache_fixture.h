// A user with an account in memory, and the cache's files seen from outside.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "cache/cache.h"
#include "platform/file.h"
#include "platform/text.h"
#include "tests/cache/fake_account.h"
#include "tests/support/test_home.h"

namespace zv::testing {

inline constexpr int64_t kEarly = 1'200'000'000;  // 2008-01-10 21:20:00 UTC
inline constexpr int64_t kLate = 1'250'000'000;

class CacheTest : public HomeTest {
 protected:
  explicit CacheTest(AccountOptions options = {}) {
    home_.SetAccount(account_.server().host(), u"u", u"secret", options);
    MakeFolders(home_.CacheFolder(u"u"));
    MakeFolders(home_.LogFolder());
  }

  CCache& cache() {
    if (!cache_) cache_.emplace();
    return *cache_;
  }
  // As after a restart of the program.
  void Restart() { cache_.reset(); }

  Text Folder() const { return home_.CacheFolder(u"u"); }
  CacheNames Names() const { return CacheNames(Folder()); }

  // --- files of the cache by the server's path
  Text ListingText(TextView folder) const {
    return FromUtf16LeBytes(ReadFileBytes(Names().GetDirRecordName(folder)).value_or(""));
  }
  void WriteListing(TextView folder, TextView text) const {
    WriteFileBytes(Names().GetDirRecordName(folder), ToUtf16LeBytes(text));
  }
  bool HasListing(TextView folder) const { return FileExists(Names().GetDirRecordName(folder)); }
  std::optional<std::string> Content(TextView path) const {
    return ReadFileBytes(Names().GetFileRecordName(path));
  }
  void WriteContent(TextView path, std::string_view bytes) const {
    WriteFileBytes(Names().GetFileRecordName(path), bytes);
  }
  bool HasTime(TextView path) const { return FileExists(Names().GetTimeFileName(path)); }
  void WriteTime(TextView path, int64_t unix_time) {
    cache().SetFileTimeEntry(path, ToFileTime(FromUnix(unix_time)));
  }
  // Seconds since 1970; 0 without a time file.
  int64_t TimeOf(TextView path) {
    FileTime time = ToFileTime(FromUnix(0));
    cache().GetFileTimeEntry(path, &time);
    return ToUnix(ToSeconds(time));
  }

  // --- operations in the shape that the tests need
  // Names of a walk from index 1 to its end, as the driver's handler does it; "." and ".." left
  // out.
  std::vector<Text> Walk(TextView folder) {
    std::vector<Text> names;
    DirectoryEntry entry;
    for (int32_t index = 1; cache().GetCachedDirContents(folder, index, &entry); ++index) {
      const Text name(entry.Name());
      if (name != u"." && name != u"..") names.push_back(name);
    }
    cache().ForgetFolderState();
    return names;
  }
  bool Store(TextView path, std::string_view bytes, int64_t offset = 0, bool force = true) {
    std::string copy(bytes);
    TransferRequest request{.path = Text(path),
                            .length = static_cast<uint32_t>(bytes.size()),
                            .buffer = reinterpret_cast<std::byte*>(copy.data()),
                            .offset = offset,
                            .force_store = force};
    return cache().CacheFile(request);
  }
  struct ReadResult {
    bool done = false;
    std::string bytes;
    int64_t file_size = 0;
  };
  ReadResult Read(TextView path, int64_t offset, uint32_t length) {
    std::string buffer(length, '\0');
    TransferRequest request{.path = Text(path),
                            .length = length,
                            .buffer = reinterpret_cast<std::byte*>(buffer.data()),
                            .offset = offset};
    ReadResult result;
    result.done = cache().ReadCachedFile(request);
    result.bytes = buffer.substr(0, request.length);
    result.file_size = request.file_size;
    return result;
  }

  Text CacheLog() const { return home_.LogText(u"CacheDebug.txt"); }
  bool Logged(TextView part) const { return CacheLog().find(part) != Text::npos; }
  // Whether a line of the level Error, and not of any other, begins with this.
  bool LoggedAsError(TextView beginning) const {
    const Text log = CacheLog();
    for (size_t at = log.find(beginning); at != Text::npos; at = log.find(beginning, at + 1)) {
      const size_t line = log.rfind(u'\n', at) + 1;
      // "Error       : 11/15/2026 14:03:09 : "
      const TextView prefix = TextView(log).substr(line, at - line);
      if (prefix.size() == 36 && prefix.starts_with(u"Error  ")) return true;
    }
    return false;
  }
  std::vector<Text> PendingPaths() {
    std::vector<Text> paths;
    for (const PendingUpload& upload : cache().pending().List()) paths.push_back(upload.path);
    return paths;
  }

  FakeAccount account_;
  std::optional<CCache> cache_;
};

}  // namespace zv::testing
