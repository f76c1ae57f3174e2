// A drive and its played worker, for operations during which memory runs out.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/zvdrive/drive/virtual_drive.h"
#include "tests/apps/drive_fixture.h"
#include "tests/apps/steady_worker.h"

namespace zv::testing {

// nullopt: there is none.
using Content = std::optional<std::string>;

inline constexpr TextView kFirst = u"\\the first file";
inline constexpr TextView kSecond = u"\\the second file";
inline constexpr TextView kLargeFile = u"\\the large file";
inline constexpr TextView kNew = u"\\something new";
inline const std::string kBefore = "a few bytes of content";  // of the first file
inline const std::string kSecondContent = "another file";
inline const std::string kLargeContent = Pattern(2'500'000);

struct World {
  World(bool is_sync, bool has_large);
  FileHandle Open(TextView path);
  DriveError Write(const FileHandle& file, int64_t offset, std::string_view data);

  SteadyWorker steady;
  FakeWorker& worker = steady.played();
  VirtualDrive drive;
  std::vector<FileHandle> handles;  // to be closed
};

// The file at the path holds what it may, for who has it open and, once all is closed, on the
// server; nothing stays open.
void CheckContent(World& world, TextView path, const std::vector<Content>& allowed);
// The drive shows what the server has, and what is not there keeps its name from nobody.
void CheckNames(World& world);

}  // namespace zv::testing
