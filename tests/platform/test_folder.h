// A folder of its own for a test.
#pragma once

#include <filesystem>

#include "platform/text.h"

namespace zv::testing {

// Made empty, removed with all its contents at the end. On Linux it is on drive C of a home folder
// that is made and removed with it.
class TestFolder {
 public:
  TestFolder();
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  // "C:\...", without a trailing backslash.
  const Text& path() const { return path_; }
  // path() + "\" + leaf
  Text operator/(TextView leaf) const;

  // The same folder as the standard library takes it.
  const std::filesystem::path& native() const { return native_; }
  // The home folder on Linux; empty on Windows.
  const std::filesystem::path& home() const { return home_; }

 private:
  std::filesystem::path home_, native_;
  Text path_;
};

}  // namespace zv::testing
