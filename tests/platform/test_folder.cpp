#include "tests/platform/test_folder.h"

#include <chrono>
#include <random>

#ifdef _WIN32
#include <windows.h>
#else
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

#ifdef _WIN32
// The standard library's removal gives up on paths that are too long for the old calls.
void RemoveTree(const std::wstring& folder) {
  WIN32_FIND_DATAW data;
  const HANDLE find = ::FindFirstFileW((folder + L"\\*").c_str(), &data);
  for (bool more = find != INVALID_HANDLE_VALUE; more; more = ::FindNextFileW(find, &data)) {
    const std::wstring name = data.cFileName;
    const std::wstring path = folder + L"\\" + name;
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      ::DeleteFileW(path.c_str());
    } else if (name != L"." && name != L"..") {
      RemoveTree(path);
    }
  }
  ::FindClose(find);
  ::RemoveDirectoryW(folder.c_str());
}
#endif

}  // namespace

#ifdef _WIN32

TestFolder::TestFolder() : native_(UniqueFolder()), path_(native_.u16string()) {
  std::filesystem::create_directories(native_);
}

TestFolder::~TestFolder() { RemoveTree(L"\\\\?\\" + native_.wstring()); }

#else

TestFolder::TestFolder()
    : home_(UniqueFolder()), native_(home_ / "drives" / "C" / "Test"), path_(u"C:\\Test") {
  std::filesystem::create_directories(native_);
  SetHomeFolder(home_.string());
}

TestFolder::~TestFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(home_, ignored);
}

#endif

Text TestFolder::operator/(TextView leaf) const { return path_ + u"\\" + Text(leaf); }

}  // namespace zv::testing
