// The exports without memory: a host program in any language gets a result and never an exception.
#include <gtest/gtest.h>

#include "include/zvworker/zvworker.h"
#include "tests/cache/cache_fixture.h"
#include "tests/support/failing_memory.h"

namespace zv::testing {
namespace {

class ExportsWithoutMemory : public CacheTest {
 protected:
  // The results of the calls in which one allocation failed, the first one's at the front.
  template <typename Call>
  static auto Results(Call call) {
    std::vector<decltype(call())> results;
    for (size_t number = 0;; ++number) {
      decltype(call()) result;
      bool happened = false;
      {
        const FailingAllocation failing(number, ThrowNoMemory);
        result = call();
        happened = failing.happened();
      }
      if (!happened) return results;
      results.push_back(result);
    }
  }
};

TEST_F(ExportsWithoutMemory, AnswerNoWhenTheirObjectCannotBeMade) {
  account_.AddFile("/a", "content", kEarly);
  EXPECT_EQ(Results([] { return IsListingFileExist(u"/a", u"/a"); }).at(0), 0U);
  EXPECT_EQ(Results([] { return DeleteListingFile(u"/none"); }).at(0), 0U);
  EXPECT_EQ(Results([] { return CheckLastModifiedTime(u"Z:\\a"); }).at(0), 0U);
  EXPECT_EQ(Results([] { return DeleteCache(); }).at(0), 0U);
  EXPECT_EQ(Results([] { return GetFolderSize(u"/"); }).at(0), 0);
  const ZvFindData information{};
  EXPECT_EQ(Results([&] { return WrapperUpdate(u"/a", &information); }).at(0), 0U);
}

TEST_F(ExportsWithoutMemory, AnswerWhatTheyCouldFindOut) {
  account_.AddFile("/a", "content", kEarly);
  for (const uint32_t found : Results([] { return IsListingFileExist(u"/a", u"/a"); })) {
    EXPECT_LE(found, 3U);
  }
  // Nothing stays behind: the next call has all it needs.
  EXPECT_EQ(IsListingFileExist(u"/a", u"/a"), 3U);
}

// The first of them in a process makes the block that they read.
TEST(ExportsOfANewProcess, AnswerNothingWithoutMemoryForTheSharedBlock) {
  const TestHome home;
  uint64_t used = 1;
  int32_t kind = 1;
  {
    const FailingAllocation failing(0, ThrowNoMemory);
    used = GetUsedSpace();
  }
  {
    const FailingAllocation failing(0, ThrowNoMemory);
    kind = GetInternetDetails(nullptr, nullptr, nullptr, nullptr, 0);
  }
  {
    const FailingAllocation failing(0, ThrowNoMemory);
    ResetProgressDetails();
  }
  EXPECT_EQ(used, 0U);
  EXPECT_EQ(kind, 0);
}

}  // namespace
}  // namespace zv::testing
