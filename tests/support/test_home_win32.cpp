#include <windows.h>

#include <cstring>
#include <filesystem>

#include "platform/shared_memory.h"
#include "platform/shell.h"
#include "tests/support/test_home.h"

namespace zv::testing {
namespace {

const wchar_t* Wide(TextView text) { return reinterpret_cast<const wchar_t*>(text.data()); }

void RemoveFolder(TextView folder) {
  // The long form of the path: names in the cache go beyond the short form's limit.
  const Text path = u"\\\\?\\" + Text(folder);
  std::error_code ignored;
  std::filesystem::remove_all(std::filesystem::path(path), ignored);
}

void EmptyThisMachine() {
  RegDeleteTreeW(HKEY_CURRENT_USER, Wide(kProductKey));
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, Wide(kProductKey));
  RemoveFolder(u"C:\\Apps");
  RemoveFolder(u"C:\\Stratel Drive");
  RemoveFolder(LocalAppDataFolder() + u"\\Orvelan");
  std::memset(SharedMemory(), 0, kSharedMemorySize);
}

}  // namespace

struct TestHome::Impl {};

TestHome::TestHome() { EmptyThisMachine(); }

TestHome::~TestHome() { EmptyThisMachine(); }

}  // namespace zv::testing
