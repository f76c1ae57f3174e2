// The built library as the worker finds and calls it, with the account on a server in memory.
#include <memory>
#include <thread>

#include "cache/cache.h"
#include "platform/utility_library.h"
#include "tests/zvutil/zvutil_fixture.h"

namespace zv::testing {
namespace {

constexpr int64_t kTime = 1'234'000'000;

// The library remembers this user's home from its first call: one for all cases.
class LibraryTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    home = std::make_unique<TestHome>();
    account = std::make_unique<FakeAccount>("anna");
    home->SetAccount(u"127.42.255.254", u"anna", u"secret", {.account_type = u"ZVSYNC"});
    home->SetSetting(kConnectionSubKey, u"ZVSync_usr", u"anna");
    home->SetSetting(kConnectionSubKey, u"ZVSync_psd", RaiseBy20(u"secret"));
    home->SetSetting(kConnectionSubKey, u"WebServer", account->server().host());
  }
  static void TearDownTestSuite() {
    account.reset();
    home.reset();
  }

  LibraryTest() : library_(GetUtilityLibrary(true, &failure_)) {
    EXPECT_EQ(failure_, u"");
    server_ = account->server().host();
  }

  void ListInto(void** entries) {
    WriteFileBytes(u"C:\\Stratel Drive\\Source.txt", ToUtf16LeBytes(u"/Docs/\r\n"));
    EXPECT_EQ(
        library_.list(u"/", u"anna", u"secret", u"", u"", server_.c_str(), u"PRIVATE", entries), 1);
  }

  static inline std::unique_ptr<TestHome> home;
  static inline std::unique_ptr<FakeAccount> account;

  Text failure_;
  UtilityLibrary library_;
  Text server_;
};

TEST_F(LibraryTest, HasItsSevenEntryPoints) {
  EXPECT_TRUE(library_.list && library_.release && library_.download && library_.upload &&
              library_.create_folder && library_.rename && library_.remove);
}

TEST_F(LibraryTest, AListingBelongsToItsThreadUntilItIsReleased) {
  account->AddFolder("/Docs", kTime);
  account->AddFile("/Docs/a.txt", "12345", kTime);
  void* mine = nullptr;
  ListInto(&mine);
  std::thread([&] {
    void* others = nullptr;
    ListInto(&others);
    EXPECT_NE(others, mine);
    library_.release();
  }).join();
  const auto* entries = static_cast<const DirectoryEntry*>(mine);
  ASSERT_NE(entries, nullptr);
  EXPECT_EQ(entries[0].Name(), u".");
  EXPECT_EQ(entries[1].Name(), u"..");
  EXPECT_EQ(entries[2].Name(), u"a.txt");
  EXPECT_EQ(entries[2].last_entry, 1U);
  library_.release();
  library_.release();
}

TEST_F(LibraryTest, MissingArgumentsFailTheCall) {
  void* entries = &entries;
  EXPECT_EQ(library_.list(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &entries),
            0);
  EXPECT_EQ(entries, nullptr);
  EXPECT_EQ(library_.list(u"/", u"anna", u"secret", u"", u"", server_.c_str(), u"", nullptr), 0);
  EXPECT_EQ(library_.remove(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST_F(LibraryTest, TheCacheWorksThroughIt) {
  account->AddFolder("/Docs", kTime);
  account->AddFile("/Docs/a.txt", "from the server", kTime);
  CCache cache;
  DirectoryEntry entry;
  ASSERT_TRUE(cache.GetCachedDirContents(u"/Docs/", 1, &entry));
  ASSERT_TRUE(cache.GetCachedResourceDetails(u"/Docs/a.txt", &entry));
  EXPECT_EQ(entry.size, 15);
  EXPECT_TRUE(cache.CacheRestoreFile(u"\\Docs\\a.txt"));
  EXPECT_EQ(ReadFileBytes(cache.names().GetFileRecordName(u"/Docs/a.txt")), "from the server");

  std::string block = "written here";
  TransferRequest request;
  request.path = u"/Docs/b.txt";
  request.length = static_cast<uint32_t>(block.size());
  request.buffer = reinterpret_cast<std::byte*>(block.data());
  request.force_store = true;
  ASSERT_TRUE(cache.CacheFile(request));
  EXPECT_TRUE(cache.TransferCachedFile(u"\\Docs\\b.txt", true));
  EXPECT_EQ(account->Content("/Docs/b.txt"), block);

  EXPECT_TRUE(cache.CreateCacheDirectory(u"\\Docs\\deep"));
  EXPECT_TRUE(account->Has("/Docs/deep"));
  EXPECT_EQ(cache.RenameCachedResource(u"/Docs/b.txt", u"/Docs/deep/c.txt", true), kRenameDone);
  EXPECT_EQ(account->Content("/Docs/deep/c.txt"), block);
  EXPECT_TRUE(cache.DeleteCachedResource(u"/Docs/deep/", true));
  EXPECT_FALSE(account->Has("/Docs/deep"));
  EXPECT_EQ(GetSyncUsedQuota(), 7 << 20);
}

}  // namespace
}  // namespace zv::testing
