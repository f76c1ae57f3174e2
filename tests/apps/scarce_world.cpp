#include "tests/apps/scarce_world.h"

#include <algorithm>
#include <memory>
#include <set>

#include "apps/zvdrive/drive/drive_path.h"

namespace zv::testing {
namespace {

std::string ReadAll(World& world, OpenFile& file) {
  std::string content(static_cast<size_t>(file.size.load()), '\0');
  for (size_t done = 0; done < content.size();) {
    const auto count = world.drive.Read(file, static_cast<int64_t>(done),
                                        std::as_writable_bytes(std::span(content)).subspan(done));
    if (!count || count.value == 0) return "(unreadable)";
    done += count.value;
  }
  return content;
}

std::string Brief(const Content& text) {
  if (!text) return "(absent)";
  return std::to_string(text->size()) + " bytes: " +
         (text->size() < 64 ? *text : "#" + std::to_string(std::hash<std::string>()(*text)));
}

// Opens it when nobody has it open; null when it is not there.
FileHandle OpenAnyhow(World& world, TextView path) {
  for (const FileHandle& file : world.handles) {
    if (file->path == path && !file->is_gone) return file;
  }
  const auto opened = world.drive.Open(path, false);
  if (opened) {
    world.handles.push_back(opened.value.file);
    return opened.value.file;
  }
  EXPECT_EQ(opened.error, DriveError::kNotFound);
  return nullptr;
}

// Who has a file open goes on, under whatever name it has now.
void CheckUsers(const World& world) {
  for (const FileHandle& file : world.handles) {
    if (file->is_gone) continue;
    const bool is_there = world.worker.ServerTree().contains(file->path);
    EXPECT_TRUE(is_there || file->is_new || file->begins_anew) << ToUtf8(file->path);
  }
}

void CloseAll(World& world) {
  std::vector<std::weak_ptr<OpenFile>> forgotten;
  for (FileHandle& file : world.handles) {
    EXPECT_EQ(world.drive.Close(file, kProcess), DriveError::kNone);
    forgotten.emplace_back(file);
  }
  world.handles.clear();
  for (const auto& file : forgotten) EXPECT_TRUE(file.expired()) << "left open";
}

void CheckTree(World& world, const Text& folder, std::set<Text>& seen) {
  world.drive.Invalidate(JoinPath(folder, u"x"));
  const auto nodes = world.drive.List(folder);
  EXPECT_EQ(nodes.error, DriveError::kNone);
  for (const NamedNode& node : nodes.value) {
    const Text path = JoinPath(folder, node.name);
    seen.insert(path);
    if (node.info.is_folder) {
      CheckTree(world, path, seen);
    } else {
      const auto content = world.worker.ServerFile(path);
      EXPECT_EQ(node.info.size, content ? static_cast<int64_t>(content->size()) : -1)
          << ToUtf8(path);
    }
  }
}

}  // namespace

World::World(bool is_sync, bool has_large)
    : drive(steady, steady,
            {.drive_letter = u"Z:", .walk_lifetime = kLongLifetime, .is_sync = is_sync}) {
  worker.PutFolder(u"\\the full folder");
  worker.PutFolder(u"\\the full folder\\empty");
  worker.PutFolder(u"\\the void folder");
  worker.PutFile(kFirst, kBefore);
  worker.PutFile(kSecond, kSecondContent);
  worker.PutFile(u"\\the full folder\\inside", "inside");
  if (has_large) worker.PutFile(kLargeFile, kLargeContent);
}

FileHandle World::Open(TextView path) {
  const auto opened = drive.Open(path, false);
  EXPECT_EQ(opened.error, DriveError::kNone);
  handles.push_back(opened.value.file);
  return opened.value.file;
}

DriveError World::Write(const FileHandle& file, int64_t offset, std::string_view data) {
  return drive.Write(*file, offset, BytesOf(data));
}

void CheckContent(World& world, TextView path, const std::vector<Content>& allowed) {
  Content read;
  if (const FileHandle file = OpenAnyhow(world, path)) read = ReadAll(world, *file);
  EXPECT_TRUE(std::ranges::find(allowed, read) != allowed.end()) << Brief(read);
  CheckUsers(world);
  CloseAll(world);
  EXPECT_EQ(Brief(world.worker.ServerFile(path)), Brief(read));
}

void CheckNames(World& world) {
  const auto tree = world.worker.ServerTree();
  std::set<Text> there;
  for (const auto& [path, content] : tree) there.insert(path);
  std::set<Text> shown;
  CheckTree(world, u"\\", shown);
  EXPECT_EQ(shown, there);
  // What is not there keeps its name from nobody.
  for (const TextView name : {u"\\THE FIRST FILE", u"\\THE SECOND FILE", u"\\THE FULL FOLDER",
                              u"\\SOMETHING NEW", u"\\THE VOID FOLDER", u"\\NOWHERE AT ALL"}) {
    if (tree.contains(ToLower(name))) continue;
    const auto made = world.drive.Create(name);
    EXPECT_EQ(made.error, DriveError::kNone) << ToUtf8(name);
    if (!made) continue;
    EXPECT_EQ(world.drive.Close(made.value.file, kProcess), DriveError::kNone);
    EXPECT_EQ(world.drive.RemoveFile(name, kProcess), DriveError::kNone);
  }
}

}  // namespace zv::testing
