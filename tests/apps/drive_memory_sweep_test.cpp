// Operations during which memory runs out, at each of their allocations in turn.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "apps/zvdrive/drive/drive_path.h"
#include "apps/zvdrive/drive/virtual_drive.h"
#include "tests/apps/drive_fixture.h"
#include "tests/apps/scarce_memory.h"
#include "tests/apps/steady_worker.h"

namespace zv::testing {
namespace {

struct World {
  World(bool is_sync, bool has_large)
      : drive(steady, steady,
              {.drive_letter = u"Z:", .walk_lifetime = kLongLifetime, .is_sync = is_sync}) {
    worker.PutFolder(u"\\the full folder");
    worker.PutFolder(u"\\the full folder\\empty");
    worker.PutFolder(u"\\the void folder");
    worker.PutFile(u"\\the first file", small);
    worker.PutFile(u"\\the second file", "another file");
    worker.PutFile(u"\\the full folder\\inside", "inside");
    if (has_large) worker.PutFile(u"\\the large file", large);
  }
  FileHandle Open(TextView path) {
    const auto opened = drive.Open(path, false);
    EXPECT_EQ(opened.error, DriveError::kNone);
    handles.push_back(opened.value.file);
    return opened.value.file;
  }
  DriveError Write(const FileHandle& file, int64_t offset, std::string_view data) {
    return drive.Write(*file, offset, BytesOf(data));
  }

  static const inline std::string small = "a few bytes of content";
  static const inline std::string large = Pattern(2'500'000);
  SteadyWorker steady;
  FakeWorker& worker = steady.played();
  VirtualDrive drive;
  std::vector<FileHandle> handles;  // to be closed
};

struct Operation {
  std::string name;
  std::function<void(World&)> prepare;
  std::function<DriveError(World&)> run;
  // What a file may hold afterwards; nullopt: it may be absent.
  Text path = u"\\the first file";
  std::vector<std::optional<std::string>> allowed;
};

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

std::string Brief(const std::optional<std::string>& text) {
  if (!text) return "(absent)";
  return std::to_string(text->size()) + " bytes: " +
         (text->size() < 64 ? *text : "#" + std::to_string(std::hash<std::string>()(*text)));
}

void CheckContent(World& world, const Operation& operation) {
  std::optional<std::string> read;
  FileHandle own;
  for (const FileHandle& file : world.handles) {
    if (file->path == operation.path && !file->is_gone) own = file;
  }
  if (!own) {
    const auto opened = world.drive.Open(operation.path, false);
    if (opened) {
      own = opened.value.file;
      world.handles.push_back(own);
    } else {
      EXPECT_EQ(opened.error, DriveError::kNotFound);
    }
  }
  if (own) read = ReadAll(world, *own);
  EXPECT_TRUE(std::ranges::find(operation.allowed, read) != operation.allowed.end()) << Brief(read);
  own.reset();
  // Who has a file open goes on, under whatever name it has now.
  for (const FileHandle& file : world.handles) {
    if (file->is_gone) continue;
    const Text held = file->path;
    EXPECT_TRUE(world.worker.ServerTree().contains(held) || file->is_new || file->begins_anew)
        << ToUtf8(held);
  }
  std::vector<std::weak_ptr<OpenFile>> forgotten;
  for (FileHandle& file : world.handles) {
    EXPECT_EQ(world.drive.Close(file, kProcess), DriveError::kNone);
    forgotten.emplace_back(file);
  }
  world.handles.clear();
  for (const auto& file : forgotten) EXPECT_TRUE(file.expired()) << "left open";
  EXPECT_EQ(Brief(world.worker.ServerFile(operation.path)), Brief(read));
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

using Content = std::optional<std::string>;

std::vector<Operation> Operations() {
  const Content before = World::small;
  const auto none = [](World&) {};
  const auto open = [](World& world) { world.Open(u"\\the first file"); };
  const auto open_large = [](World& world) { world.Open(u"\\the large file"); };
  const std::string kBlock = Pattern(65536, 7);
  const std::string kMebibyte = Pattern(1 << 20, 8);
  const Content large = World::large;
  const auto over = [](std::string text, size_t offset, std::string_view data) {
    if (text.size() < offset + data.size()) text.resize(offset + data.size());
    text.replace(offset, data.size(), data);
    return Content(text);
  };
  std::vector<Operation> all = {
      {"LookDeep",
       none,
       [](World& w) { return w.drive.Look(u"\\the full folder\\inside").error; },
       u"\\the first file",
       {before}},
      {"LookNowhere",
       none,
       [](World& w) {
         const auto e = w.drive.Look(u"\\nowhere at all\\x").error;
         return e == DriveError::kNotFound ? DriveError::kNone : e;
       },
       u"\\the first file",
       {before}},
      {"ListNowhere",
       none,
       [](World& w) {
         const auto e = w.drive.List(u"\\nowhere at all").error;
         return e == DriveError::kIo ? DriveError::kNone : e;
       },
       u"\\the first file",
       {before}},
      {"List",
       none,
       [](World& w) { return w.drive.List(u"\\the full folder").error; },
       u"\\the first file",
       {before}},
      {"ListAgain",
       [](World& w) {
         w.drive.List(u"\\");
         w.drive.Invalidate(u"\\the first file");
       },
       [](World& w) { return w.drive.List(u"\\").error; },
       u"\\the first file",
       {before}},
      {"OpenFolder",
       none,
       [](World& w) {
         const auto listing = w.drive.OpenFolder(u"\\the full folder");
         while (listing->At(1000)) {
         }
         return listing->error();
       },
       u"\\the first file",
       {before}},
      {"OpenFolderFresh",
       [](World& w) { w.drive.List(u"\\the full folder"); },
       [](World& w) {
         const auto listing = w.drive.OpenFolder(u"\\the full folder");
         while (listing->At(1000)) {
         }
         return listing->error();
       },
       u"\\the first file",
       {before}},
      {"Open",
       none,
       [](World& w) {
         const auto o = w.drive.Open(u"\\the first file", false);
         if (o) {
           const AllocationsFail steady(false);
           w.handles.push_back(o.value.file);
         }
         return o.error;
       },
       u"\\the first file",
       {before}},
      {"OpenEmptying",
       none,
       [](World& w) {
         const auto o = w.drive.Open(u"\\the first file", true);
         if (o) {
           const AllocationsFail steady(false);
           w.handles.push_back(o.value.file);
         }
         return o.error;
       },
       u"\\the first file",
       {before, ""}},
      {"Create",
       none,
       [](World& w) {
         const auto o = w.drive.Create(u"\\something new");
         if (o) {
           const AllocationsFail steady(false);
           w.handles.push_back(o.value.file);
         }
         return o.error;
       },
       u"\\something new",
       {std::nullopt, ""}},
      {"WriteSmall",
       open,
       [](World& w) { return w.Write(w.handles[0], 2, "FEW"); },
       u"\\the first file",
       {before, over(*before, 2, "FEW")}},
      {"WriteGathered",
       open,
       [=](World& w) { return w.Write(w.handles[0], 5, kBlock); },
       u"\\the first file",
       {before, over(*before, 5, kBlock)}},
      {"WriteMebibyte",
       open,
       [=](World& w) { return w.Write(w.handles[0], 5, kMebibyte); },
       u"\\the first file",
       {before, over(*before, 5, kMebibyte)}},
      {"WriteLargeOver",
       [=](World& w) {
         w.Open(u"\\the large file");
         w.Write(w.handles[0], 0, kMebibyte);
       },
       [=](World& w) { return w.Write(w.handles[0], 1 << 20, kMebibyte); },
       u"\\the large file",
       {over(*large, 0, kMebibyte), over(*over(*large, 0, kMebibyte), 1 << 20, kMebibyte)}},
      {"WriteAfterGathered",
       [=](World& w) {
         w.Open(u"\\the first file");
         w.Write(w.handles[0], 0, kBlock);
       },
       [](World& w) { return w.Write(w.handles[0], 2, "FEW"); },
       u"\\the first file",
       {kBlock, over(kBlock, 2, "FEW")}},
      {"WriteFillsBlock",
       [=](World& w) {
         w.Open(u"\\the first file");
         for (int i = 0; i < 15; ++i) w.Write(w.handles[0], i * 65536, kBlock);
       },
       [=](World& w) { return w.Write(w.handles[0], 15 * 65536, kBlock); },
       u"\\the first file",
       {[&] {
          std::string s;
          for (int i = 0; i < 15; ++i) s += kBlock;
          return Content(s);
        }(),
        [&] {
          std::string s;
          for (int i = 0; i < 16; ++i) s += kBlock;
          return Content(s);
        }()}},
      {"WriteNewAtOffset",
       [](World& w) { w.handles.push_back(w.drive.Create(u"\\something new").value.file); },
       [](World& w) { return w.Write(w.handles[0], 3, "x"); },
       u"\\something new",
       {"", over("", 3, "x")}},
      {"Append",
       open,
       [](World& w) { return w.drive.Append(*w.handles[0], BytesOf("more")); },
       u"\\the first file",
       {before, *before + "more"}},
      {"Read",
       open,
       [](World& w) {
         std::array<std::byte, 10> into{};
         return w.drive.Read(*w.handles[0], 1, into).error;
       },
       u"\\the first file",
       {before}},
      {"ReadGathered",
       [=](World& w) {
         w.Open(u"\\the first file");
         w.Write(w.handles[0], 0, kBlock);
       },
       [](World& w) {
         std::array<std::byte, 10> into{};
         return w.drive.Read(*w.handles[0], 0, into).error;
       },
       u"\\the first file",
       {kBlock}},
      {"Grow",
       open,
       [](World& w) { return w.drive.Resize(*w.handles[0], 100); },
       u"\\the first file",
       {before, over(*before, 99, std::string_view("\0", 1))}},
      {"Shrink",
       open,
       [](World& w) { return w.drive.Resize(*w.handles[0], 5); },
       u"\\the first file",
       {before, before->substr(0, 5)}},
      {"ShrinkMiddle",
       open_large,
       [](World& w) { return w.drive.Resize(*w.handles[0], 900'000); },
       u"\\the large file",
       {large, large->substr(0, 900'000)}},
      {"Empty",
       open,
       [](World& w) { return w.drive.Resize(*w.handles[0], 0); },
       u"\\the first file",
       {before, ""}},
      {"ResizePath",
       none,
       [](World& w) {
         try {
           return w.drive.ResizePath(u"\\the first file", 3, kProcess);
         } catch (const std::bad_alloc&) {
           const AllocationsFail steady(false);
           w.drive.SendAgain(u"\\the first file", true, kProcess);
           throw;
         }
       },
       u"\\the first file",
       {before, before->substr(0, 3)}},
      {"ResizePathEmpty",
       none,
       [](World& w) { return w.drive.ResizePath(u"\\the first file", 0, kProcess); },
       u"\\the first file",
       {before, ""}},
      {"Flush",
       [](World& w) {
         w.Open(u"\\the first file");
         w.Write(w.handles[0], 0, "A");
       },
       [](World& w) { return w.drive.Flush(*w.handles[0], kProcess); },
       u"\\the first file",
       {over(*before, 0, "A")}},
      {"FlushGathered",
       [=](World& w) {
         w.Open(u"\\the first file");
         w.Write(w.handles[0], 0, kBlock);
       },
       [](World& w) { return w.drive.Flush(*w.handles[0], kProcess); },
       u"\\the first file",
       {kBlock}},
      {"FlushEmpty",
       [](World& w) {
         w.Open(u"\\the first file");
         w.drive.Resize(*w.handles[0], 0);
       },
       [](World& w) { return w.drive.Flush(*w.handles[0], kProcess); },
       u"\\the first file",
       {""}},
      {"FlushNew",
       [](World& w) { w.handles.push_back(w.drive.Create(u"\\something new").value.file); },
       [](World& w) { return w.drive.Flush(*w.handles[0], kProcess); },
       u"\\something new",
       {""}},
      {"CloseOther",
       [](World& w) {
         w.Open(u"\\the first file");
         w.Open(u"\\the first file");
         w.Write(w.handles[0], 0, "A");
       },
       [](World& w) {
         const FileHandle last = std::move(w.handles.back());
         w.handles.pop_back();
         return w.drive.Close(last, kProcess);
       },
       u"\\the first file",
       {over(*before, 0, "A")}},
      {"CloseLast",
       [](World& w) {
         w.Open(u"\\the first file");
         w.Write(w.handles[0], 0, "A");
       },
       [](World& w) {
         const FileHandle last = std::move(w.handles.back());
         w.handles.pop_back();
         const std::weak_ptr<OpenFile> weak = last;
         try {
           return w.drive.Close(last, kProcess);
         } catch (const std::bad_alloc&) {
           const AllocationsFail steady(false);
           w.drive.SendAgain(u"\\the first file", true, kProcess);
           throw;
         }
       },
       u"\\the first file",
       {over(*before, 0, "A")}},
      {"SendAgain",
       [](World& w) {
         w.worker.RefuseUploads(true);
         w.Open(u"\\the first file");
         w.Write(w.handles[0], 0, "A");
         w.drive.Close(w.handles[0], kProcess);
         w.handles.clear();
         w.worker.RefuseUploads(false);
       },
       [](World& w) {
         try {
           return w.drive.SendAgain(u"\\the first file", true, kProcess);
         } catch (const std::bad_alloc&) {
           const AllocationsFail steady(false);
           w.drive.SendAgain(u"\\the first file", true, kProcess);
           throw;
         }
       },
       u"\\the first file",
       {over(*before, 0, "A")}},
      {"MakeFolder",
       none,
       [](World& w) { return w.drive.MakeFolder(u"\\something new"); },
       u"\\the first file",
       {before}},
      {"RemoveFile",
       none,
       [](World& w) { return w.drive.RemoveFile(u"\\the first file", kProcess); },
       u"\\the first file",
       {before, std::nullopt}},
      {"RemoveOpen",
       open,
       [](World& w) { return w.drive.RemoveFile(u"\\the first file", kProcess); },
       u"\\the first file",
       {before, std::nullopt}},
      {"RemoveFolder",
       none,
       [](World& w) { return w.drive.RemoveFolder(u"\\the void folder", kProcess); },
       u"\\the first file",
       {before}},
      {"RenameFile",
       none,
       [](World& w) {
         return w.drive.Rename(u"\\the first file", u"\\something new", true, kProcess);
       },
       u"\\something new",
       {before, std::nullopt}},
      {"RenameReplacing",
       none,
       [](World& w) {
         return w.drive.Rename(u"\\the first file", u"\\the second file", true, kProcess);
       },
       u"\\the second file",
       {before, "another file"}},
      {"RenameOpen",
       open,
       [](World& w) {
         return w.drive.Rename(u"\\the first file", u"\\something new", true, kProcess);
       },
       u"\\something new",
       {before, std::nullopt}},
      {"RenameOpenWritten",
       [](World& w) {
         w.Open(u"\\the first file");
         w.Write(w.handles[0], 0, "A");
       },
       [](World& w) {
         return w.drive.Rename(u"\\the first file", u"\\something new", true, kProcess);
       },
       u"\\something new",
       {over(*before, 0, "A"), std::nullopt}},
      {"RenameOpenReplacingOpen",
       [](World& w) {
         w.Open(u"\\the first file");
         w.Open(u"\\the second file");
       },
       [](World& w) {
         return w.drive.Rename(u"\\the first file", u"\\the second file", true, kProcess);
       },
       u"\\the second file",
       {before, "another file"}},
      {"RenameFolderOfOpen",
       [](World& w) { w.Open(u"\\the full folder\\inside"); },
       [](World& w) {
         return w.drive.Rename(u"\\the full folder", u"\\something new", true, kProcess);
       },
       u"\\something new\\inside",
       {"inside", std::nullopt}},
      {"RenameFolder",
       none,
       [](World& w) {
         return w.drive.Rename(u"\\the full folder", u"\\something new", true, kProcess);
       },
       u"\\the first file",
       {before}},
      {"BeginMapping",
       open,
       [](World& w) { return w.drive.BeginMapping(*w.handles[0]); },
       u"\\the first file",
       {before}},
      {"EndMapping",
       [](World& w) {
         w.Open(u"\\the first file");
         w.drive.BeginMapping(*w.handles[0]);
       },
       [](World& w) {
         w.drive.EndMapping(*w.handles[0]);
         return DriveError::kNone;
       },
       u"\\the first file",
       {before}},
      {"ViewContent",
       open_large,
       [](World& w) {
         return w.drive.ViewContent(w.handles[0]) ? DriveError::kNone : DriveError::kIo;
       },
       u"\\the large file",
       {large}},
  };
  return all;
}

class ScarceMemoryTest : public ::testing::TestWithParam<std::tuple<size_t, bool>> {};

TEST_P(ScarceMemoryTest, NoAllocationThatFailsLosesContentOrNames) {
  const auto& [index, is_sync] = GetParam();
  Operation operation = Operations()[index];
  // The target of a sync account's rename is deleted first.
  if (is_sync && operation.name.find("Replacing") != std::string::npos) {
    operation.allowed.emplace_back();
  }
  SCOPED_TRACE(operation.name + (is_sync ? " sync" : ""));
  bool has_failed = true;
  for (size_t failing = 1; has_failed; ++failing) {
    ASSERT_LT(failing, 10'000U);
    SCOPED_TRACE("allocation " + std::to_string(failing));
    World world(is_sync, operation.path == u"\\the large file");
    operation.prepare(world);
    {
      const ScarceMemory scarce(failing);
      try {
        const DriveError error = operation.run(world);
        const AllocationsFail steady(false);
        EXPECT_TRUE(ScarceMemory::HasFailed() || error == DriveError::kNone);
      } catch (const std::bad_alloc&) {
      }
      has_failed = ScarceMemory::HasFailed();
    }
    CheckContent(world, operation);
    CheckNames(world);
    if (HasFailure()) return;
  }
}

std::string NameOf(const ::testing::TestParamInfo<std::tuple<size_t, bool>>& info) {
  const auto& [index, is_sync] = info.param;
  return Operations()[index].name + (is_sync ? "Sync" : "");
}

INSTANTIATE_TEST_SUITE_P(Operations, ScarceMemoryTest,
                         ::testing::Combine(::testing::Range<size_t>(0, Operations().size()),
                                            ::testing::Bool()),
                         NameOf);

}  // namespace
}  // namespace zv::testing
