// The utility library's entry points without memory: who calls them in any language gets a result
// and never an exception.
#include <type_traits>

#include "platform/clock_testing.h"
#include "platform/utility_library.h"
#include "tests/support/failing_memory.h"
#include "tests/zvutil/zvutil_fixture.h"

// Linked into this program: an allocation that fails is one of its own.
extern "C" {
std::remove_pointer_t<zv::UtilityListCall> ZVUtilListFolder;
std::remove_pointer_t<zv::UtilityReleaseCall> ZVUtilReleaseListing;
std::remove_pointer_t<zv::UtilityCall> ZVUtilDownload, ZVUtilUpload, ZVUtilCreateFolder,
    ZVUtilRename, ZVUtilDelete;
}

namespace zv::testing {
namespace {

constexpr int64_t kTime = 1'234'000'000;
// Longer than what a text keeps within itself.
constexpr const char16_t* kLongPassword = u"a password of some length";
constexpr const char16_t* kNoServer = u"127.42.255.254";

class ExportsWithoutMemory : public SyncAccountTest {
 protected:
  // Runs the call again and again, each time with the next one of its allocations failing. How many
  // there were.
  template <typename Call>
  static size_t EachFailing(Call call) {
    for (size_t number = 0;; ++number) {
      bool happened = false;
      {
        const FailingAllocation failing(number, ThrowNoMemory);
        EXPECT_NO_THROW(call()) << "allocation " << number;
        happened = failing.happened();
      }
      if (!happened) return number;
    }
  }

  VirtualClock clock_;  // what failed waits for its next attempt
};

// There are no journals that would tell them what to do.
TEST_F(ExportsWithoutMemory, AnswerTheirFailure) {
  for (const UtilityCall call :
       {ZVUtilDownload, ZVUtilUpload, ZVUtilCreateFolder, ZVUtilRename, ZVUtilDelete}) {
    const size_t count = EachFailing([call] {
      EXPECT_EQ(call(u"/", kUser.data(), kLongPassword, u"", u"", kNoServer, u"DEFAULT"), 0);
    });
    EXPECT_GE(count, 2U);  // password and server of the login, at the least
  }
}

TEST_F(ExportsWithoutMemory, GiveOutAListingOrNone) {
  account_.AddFolder("/Docs", kTime);
  WriteJournal(u"Source.txt", u"/Docs/");
  const Text server = account_.server().host();
  bool listed = false;
  const size_t count = EachFailing([&] {
    void* entries = &entries;
    listed = ZVUtilListFolder(u"/", kUser.data(), kLongPassword, u"", u"", server.c_str(),
                              u"DEFAULT", &entries) != 0;
    EXPECT_EQ(entries != nullptr, listed);
    ZVUtilReleaseListing();
  });
  EXPECT_GE(count, 2U);
  EXPECT_TRUE(listed);  // the last one, with all its memory
}

}  // namespace
}  // namespace zv::testing
