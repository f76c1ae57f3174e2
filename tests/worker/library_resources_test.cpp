// The library's resources: the text for errors without one, and its version.
#include <windows.h>

#include <gtest/gtest.h>

namespace zv::testing {
namespace {

class ResourcesTest : public ::testing::Test {
 protected:
  const HMODULE library_ = LoadLibraryW(L"ZVWorker.dll");
};

TEST_F(ResourcesTest, HoldTheTextForErrorsWithoutOne) {
  wchar_t text[100] = {};
  EXPECT_GT(LoadStringW(library_, 2000, text, 100), 0);
  EXPECT_STREQ(text, L"An unknown error has occurred.");
}

TEST_F(ResourcesTest, HoldAVersion) {
  const HRSRC found = FindResourceW(library_, MAKEINTRESOURCEW(VS_VERSION_INFO),
                                    reinterpret_cast<LPCWSTR>(RT_VERSION));
  ASSERT_NE(found, nullptr);
  EXPECT_GT(SizeofResource(library_, found), sizeof(VS_FIXEDFILEINFO));
}

}  // namespace
}  // namespace zv::testing
