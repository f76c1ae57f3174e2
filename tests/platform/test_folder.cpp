#include "tests/platform/test_folder.h"

#include <chrono>
#include <random>

#ifndef _WIN32
#include "platform/home.h"
#endif

namespace zv::testing {
namespace {

std::filesystem::path UniqueFolder() {
  std::random_device random;
  const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
  return std::filesystem::temp_directory_path() /
         ("zv-test-" + std::to_string(now) + "-" + std::to_string(random()));
}

}  // namespace

#ifdef _WIN32
// Removed by the form of the path that has no length limit.
TestFolder::TestFolder()
    : native_(UniqueFolder()), whole_(L"\\\\?\\" + native_.wstring()), path_(native_.u16string()) {
  std::filesystem::create_directories(native_);
}
#else
TestFolder::TestFolder()
    : home_(UniqueFolder()),
      native_(home_ / "drives" / "C" / "Test"),
      whole_(home_),
      path_(u"C:\\Test") {
  std::filesystem::create_directories(native_);
  SetHomeFolder(home_.string());
}
#endif

TestFolder::~TestFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(whole_, ignored);
}

Text TestFolder::operator/(TextView leaf) const { return path_ + u"\\" + Text(leaf); }

}  // namespace zv::testing
