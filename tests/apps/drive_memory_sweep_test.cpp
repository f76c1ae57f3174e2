// Operations during which memory runs out, at each of their allocations in turn.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <new>
#include <string>
#include <tuple>
#include <vector>

#include "tests/apps/scarce_world.h"
#include "tests/support/failing_memory.h"

namespace zv::testing {
namespace {

struct Operation {
  std::string name;
  std::function<void(World&)> prepare;
  std::function<DriveError(World&)> run;
  TextView path = kFirst;
  std::vector<Content> allowed = {kBefore};  // what that may hold afterwards
};

const std::string kBlock = Pattern(65536, 7);
const std::string kMebibyte = Pattern(1 << 20, 8);

std::string Over(std::string text, size_t offset, std::string_view data) {
  if (text.size() < offset + data.size()) text.resize(offset + data.size());
  return text.replace(offset, data.size(), data);
}

std::string Repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

void Nothing(World&) {}
void OpenFirst(World& world) { world.Open(kFirst); }
void OpenLarge(World& world) { world.Open(kLargeFile); }

DriveError Keep(World& world, const DriveResult<OpenedFile>& opened) {
  const AllocationsSucceed steady;
  if (opened) world.handles.push_back(opened.value.file);
  return opened.error;
}

DriveError ReadToEnd(FolderListing& listing) {
  while (listing.At(1000)) {
  }
  return listing.error();
}

// What could not be sent for want of memory is sent by the host's later attempt.
DriveError OrSentLater(World& world, const std::function<DriveError()>& sends) {
  try {
    return sends();
  } catch (const std::bad_alloc&) {
    const AllocationsSucceed steady;
    world.drive.SendAgain(kFirst, true, kProcess);
    throw;
  }
}

std::vector<Operation> Looking() {
  return {
      {"LookDeep", Nothing,
       [](World& w) { return w.drive.Look(u"\\the full folder\\inside").error; }},
      {"LookNowhere", Nothing,
       [](World& w) {
         const auto e = w.drive.Look(u"\\nowhere at all\\x").error;
         return e == DriveError::kNotFound ? DriveError::kNone : e;
       }},
      {"ListNowhere", Nothing,
       [](World& w) {
         const auto e = w.drive.List(u"\\nowhere at all").error;
         return e == DriveError::kIo ? DriveError::kNone : e;
       }},
      {"List", Nothing, [](World& w) { return w.drive.List(u"\\the full folder").error; }},
      {"ListAgain",
       [](World& w) {
         w.drive.List(u"\\");
         w.drive.Invalidate(kFirst);
       },
       [](World& w) { return w.drive.List(u"\\").error; }},
      {"OpenFolder", Nothing,
       [](World& w) { return ReadToEnd(*w.drive.OpenFolder(u"\\the full folder")); }},
      {"OpenFolderFresh", [](World& w) { w.drive.List(u"\\the full folder"); },
       [](World& w) { return ReadToEnd(*w.drive.OpenFolder(u"\\the full folder")); }},
  };
}

std::vector<Operation> Opening() {
  return {
      {"Open", Nothing, [](World& w) { return Keep(w, w.drive.Open(kFirst, false)); }},
      {"OpenEmptying",
       Nothing,
       [](World& w) { return Keep(w, w.drive.Open(kFirst, true)); },
       kFirst,
       {kBefore, ""}},
      {"Create",
       Nothing,
       [](World& w) { return Keep(w, w.drive.Create(kNew)); },
       kNew,
       {std::nullopt, ""}},
      {"BeginMapping", OpenFirst, [](World& w) { return w.drive.BeginMapping(*w.handles[0]); }},
      {"EndMapping",
       [](World& w) {
         w.Open(kFirst);
         w.drive.BeginMapping(*w.handles[0]);
       },
       [](World& w) {
         w.drive.EndMapping(*w.handles[0]);
         return DriveError::kNone;
       }},
      {"ViewContent",
       OpenLarge,
       [](World& w) {
         return w.drive.ViewContent(w.handles[0]) ? DriveError::kNone : DriveError::kIo;
       },
       kLargeFile,
       {kLargeContent}},
  };
}

std::vector<Operation> Reading() {
  return {
      {"Read", OpenFirst,
       [](World& w) {
         std::array<std::byte, 10> into{};
         return w.drive.Read(*w.handles[0], 1, into).error;
       }},
      {"ReadGathered",
       [](World& w) {
         w.Open(kFirst);
         w.Write(w.handles[0], 0, kBlock);
       },
       [](World& w) {
         std::array<std::byte, 10> into{};
         return w.drive.Read(*w.handles[0], 0, into).error;
       },
       kFirst,
       {kBlock}},
  };
}

std::vector<Operation> Writing() {
  return {
      {"WriteSmall",
       OpenFirst,
       [](World& w) { return w.Write(w.handles[0], 2, "FEW"); },
       kFirst,
       {kBefore, Over(kBefore, 2, "FEW")}},
      {"WriteGathered",
       OpenFirst,
       [](World& w) { return w.Write(w.handles[0], 5, kBlock); },
       kFirst,
       {kBefore, Over(kBefore, 5, kBlock)}},
      {"WriteMebibyte",
       OpenFirst,
       [](World& w) { return w.Write(w.handles[0], 5, kMebibyte); },
       kFirst,
       {kBefore, Over(kBefore, 5, kMebibyte)}},
      {"WriteLargeOver",
       [](World& w) {
         w.Open(kLargeFile);
         w.Write(w.handles[0], 0, kMebibyte);
       },
       [](World& w) { return w.Write(w.handles[0], 1 << 20, kMebibyte); },
       kLargeFile,
       {Over(kLargeContent, 0, kMebibyte),
        Over(Over(kLargeContent, 0, kMebibyte), 1 << 20, kMebibyte)}},
      {"WriteAfterGathered",
       [](World& w) {
         w.Open(kFirst);
         w.Write(w.handles[0], 0, kBlock);
       },
       [](World& w) { return w.Write(w.handles[0], 2, "FEW"); },
       kFirst,
       {kBlock, Over(kBlock, 2, "FEW")}},
      {"WriteFillsBlock",
       [](World& w) {
         w.Open(kFirst);
         for (int i = 0; i < 15; ++i) w.Write(w.handles[0], i * 65536, kBlock);
       },
       [](World& w) { return w.Write(w.handles[0], 15 * 65536, kBlock); },
       kFirst,
       {Repeated(kBlock, 15), Repeated(kBlock, 16)}},
      {"WriteNewAtOffset",
       [](World& w) { w.handles.push_back(w.drive.Create(kNew).value.file); },
       [](World& w) { return w.Write(w.handles[0], 3, "x"); },
       kNew,
       {"", Over("", 3, "x")}},
      {"Append",
       OpenFirst,
       [](World& w) { return w.drive.Append(*w.handles[0], BytesOf("more")); },
       kFirst,
       {kBefore, kBefore + "more"}},
  };
}

std::vector<Operation> Resizing() {
  return {
      {"Grow",
       OpenFirst,
       [](World& w) { return w.drive.Resize(*w.handles[0], 100); },
       kFirst,
       {kBefore, Over(kBefore, 99, std::string_view("\0", 1))}},
      {"Shrink",
       OpenFirst,
       [](World& w) { return w.drive.Resize(*w.handles[0], 5); },
       kFirst,
       {kBefore, kBefore.substr(0, 5)}},
      {"ShrinkMiddle",
       OpenLarge,
       [](World& w) { return w.drive.Resize(*w.handles[0], 900'000); },
       kLargeFile,
       {kLargeContent, kLargeContent.substr(0, 900'000)}},
      {"Empty",
       OpenFirst,
       [](World& w) { return w.drive.Resize(*w.handles[0], 0); },
       kFirst,
       {kBefore, ""}},
      {"ResizePath",
       Nothing,
       [](World& w) {
         return OrSentLater(w, [&] { return w.drive.ResizePath(kFirst, 3, kProcess); });
       },
       kFirst,
       {kBefore, kBefore.substr(0, 3)}},
      {"ResizePathEmpty",
       Nothing,
       [](World& w) { return w.drive.ResizePath(kFirst, 0, kProcess); },
       kFirst,
       {kBefore, ""}},
  };
}

std::vector<Operation> Sending() {
  return {
      {"Flush",
       [](World& w) {
         w.Open(kFirst);
         w.Write(w.handles[0], 0, "A");
       },
       [](World& w) { return w.drive.Flush(*w.handles[0], kProcess); },
       kFirst,
       {Over(kBefore, 0, "A")}},
      {"FlushGathered",
       [](World& w) {
         w.Open(kFirst);
         w.Write(w.handles[0], 0, kBlock);
       },
       [](World& w) { return w.drive.Flush(*w.handles[0], kProcess); },
       kFirst,
       {kBlock}},
      {"FlushEmpty",
       [](World& w) {
         w.Open(kFirst);
         w.drive.Resize(*w.handles[0], 0);
       },
       [](World& w) { return w.drive.Flush(*w.handles[0], kProcess); },
       kFirst,
       {""}},
      {"FlushNew",
       [](World& w) { w.handles.push_back(w.drive.Create(kNew).value.file); },
       [](World& w) { return w.drive.Flush(*w.handles[0], kProcess); },
       kNew,
       {""}},
      {"CloseOther",
       [](World& w) {
         w.Open(kFirst);
         w.Open(kFirst);
         w.Write(w.handles[0], 0, "A");
       },
       [](World& w) {
         const FileHandle last = std::move(w.handles.back());
         w.handles.pop_back();
         return w.drive.Close(last, kProcess);
       },
       kFirst,
       {Over(kBefore, 0, "A")}},
      {"CloseLast",
       [](World& w) {
         w.Open(kFirst);
         w.Write(w.handles[0], 0, "A");
       },
       [](World& w) {
         const FileHandle last = std::move(w.handles.back());
         w.handles.pop_back();
         return OrSentLater(w, [&] { return w.drive.Close(last, kProcess); });
       },
       kFirst,
       {Over(kBefore, 0, "A")}},
      {"SendAgain",
       [](World& w) {
         w.worker.RefuseUploads(true);
         w.Open(kFirst);
         w.Write(w.handles[0], 0, "A");
         w.drive.Close(w.handles[0], kProcess);
         w.handles.clear();
         w.worker.RefuseUploads(false);
       },
       [](World& w) {
         return OrSentLater(w, [&] { return w.drive.SendAgain(kFirst, true, kProcess); });
       },
       kFirst,
       {Over(kBefore, 0, "A")}},
  };
}

std::vector<Operation> Removing() {
  return {
      {"MakeFolder", Nothing, [](World& w) { return w.drive.MakeFolder(kNew); }},
      {"RemoveFile",
       Nothing,
       [](World& w) { return w.drive.RemoveFile(kFirst, kProcess); },
       kFirst,
       {kBefore, std::nullopt}},
      {"RemoveOpen",
       OpenFirst,
       [](World& w) { return w.drive.RemoveFile(kFirst, kProcess); },
       kFirst,
       {kBefore, std::nullopt}},
      {"RemoveFolder", Nothing,
       [](World& w) { return w.drive.RemoveFolder(u"\\the void folder", kProcess); }},
  };
}

std::vector<Operation> Renaming() {
  return {
      {"RenameFile",
       Nothing,
       [](World& w) { return w.drive.Rename(kFirst, kNew, true, kProcess); },
       kNew,
       {kBefore, std::nullopt}},
      {"RenameReplacing",
       Nothing,
       [](World& w) { return w.drive.Rename(kFirst, kSecond, true, kProcess); },
       kSecond,
       {kBefore, "another file"}},
      {"RenameOpen",
       OpenFirst,
       [](World& w) { return w.drive.Rename(kFirst, kNew, true, kProcess); },
       kNew,
       {kBefore, std::nullopt}},
      {"RenameOpenWritten",
       [](World& w) {
         w.Open(kFirst);
         w.Write(w.handles[0], 0, "A");
       },
       [](World& w) { return w.drive.Rename(kFirst, kNew, true, kProcess); },
       kNew,
       {Over(kBefore, 0, "A"), std::nullopt}},
      {"RenameOpenReplacingOpen",
       [](World& w) {
         w.Open(kFirst);
         w.Open(kSecond);
       },
       [](World& w) { return w.drive.Rename(kFirst, kSecond, true, kProcess); },
       kSecond,
       {kBefore, "another file"}},
      {"RenameFolderOfOpen",
       [](World& w) { w.Open(u"\\the full folder\\inside"); },
       [](World& w) { return w.drive.Rename(u"\\the full folder", kNew, true, kProcess); },
       u"\\something new\\inside",
       {"inside", std::nullopt}},
      {"RenameFolder", Nothing,
       [](World& w) { return w.drive.Rename(u"\\the full folder", kNew, true, kProcess); }},
  };
}

std::vector<Operation> MakeOperations() {
  std::vector<Operation> all;
  for (const auto& group : {Looking(), Opening(), Reading(), Writing(), Resizing(), Sending(),
                            Removing(), Renaming()}) {
    all.insert(all.end(), group.begin(), group.end());
  }
  return all;
}

// Made once: they hold contents of some size, and each test's name asks for them.
const std::vector<Operation>& Operations() {
  static const std::vector<Operation> all = MakeOperations();
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
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    ASSERT_LT(number, 10'000U);
    SCOPED_TRACE("allocation " + std::to_string(number));
    World world(is_sync, operation.path == kLargeFile);
    operation.prepare(world);
    DriveError error = DriveError::kNone;
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      try {
        error = operation.run(world);
      } catch (const std::bad_alloc&) {
      }
      happened = failing.happened();
    }
    EXPECT_TRUE(happened || error == DriveError::kNone);
    CheckContent(world, operation.path, operation.allowed);
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
