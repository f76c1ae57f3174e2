// A listing and other processes: those that read it without this one's lock, and one that is
// killed. Where the system keeps a file that others have open from being replaced, only the lock of
// one process keeps readers from parts of it.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>

#include "tests/cache/listing_file_fixture.h"

namespace zv::testing {
namespace {

using ListingAndOthers = ListingFile;

TEST_F(ListingAndOthers, AStrangerNeverSeesAPartOfIt) {
  ExpectWholeWhileItIsReplaced([this] {
    const auto bytes = ReadFileBytes(file_);
    return bytes ? std::optional(FromUtf16LeBytes(*bytes)) : std::nullopt;
  });
}

TEST_F(ListingAndOthers, AProcessThatIsKilledWhileItWritesLeavesAWholeListing) {
  const Text small(1'000, u's');
  const Text large(200'000, u'l');
  ASSERT_TRUE(ReplaceListing(names_, file_, small));
  for (int round = 0; round < 25; ++round) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (int i = 0;; ++i) ReplaceListing(names_, file_, i % 2 ? small : large);
    }
    // Some moment in the midst of the writing; which one does not matter.
    ::usleep(static_cast<useconds_t>(500 + 377 * round));
    ::kill(child, SIGKILL);
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    const auto text = ReadListing(file_, Disposition::kOpenExisting);
    ASSERT_TRUE(text);
    ASSERT_TRUE(*text == small || *text == large) << text->size();
  }
}

}  // namespace
}  // namespace zv::testing
