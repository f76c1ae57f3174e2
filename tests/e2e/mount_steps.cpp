#include "tests/e2e/mount_steps.h"

#include <array>

#include "apps/zvdrive/drive/drive_path.h"

namespace zv::testing {
namespace {

struct Chance {
  Action action;
  const char* name;
  unsigned weight;
};
constexpr auto kChances = std::to_array<Chance>({
    {Action::kSave, "save", 90},
    {Action::kMakeFile, "make file", 25},
    {Action::kAppend, "append", 25},
    {Action::kWriteInPart, "write in part", 30},
    {Action::kResize, "resize", 25},
    {Action::kRead, "read", 40},
    {Action::kReadInPart, "read in part", 20},
    {Action::kHold, "hold", 30},
    {Action::kHeldWrite, "held write", 20},
    {Action::kHeldRead, "held read", 20},
    {Action::kHeldResize, "held resize", 10},
    {Action::kHeldSync, "held sync", 5},
    {Action::kLetGo, "let go", 8},
    {Action::kRename, "rename", 45},
    {Action::kRemoveFile, "remove file", 15},
    {Action::kMakeFolder, "make folder", 45},
    {Action::kRemoveFolder, "remove folder", 15},
    {Action::kList, "list", 20},
    {Action::kLook, "look", 30},
    {Action::kCompare, "compare", 5},
    {Action::kRemount, "remount", 2},
});

constexpr auto kFolders = std::to_array<TextView>(
    {u"\\", u"\\", u"\\", u"\\d", u"\\d", u"\\e", u"\\d\\e", u"\\d\\Ü & 100%"});
// What both files and folders may be called, names that office programs make up, names that differ
// in case only, one with the cache's separator, one that no listing can hold.
constexpr auto kLeaves = std::to_array<TextView>(
    {u"d", u"e", u"Ü & 100%", u"a.txt", u"a.txt", u"A.txt", u"b.tmp", u"b.tmp", u"two words.doc",
     u"two words.doc", u"~$o words.doc", u"日本語 – é.pdf", u"50%25+&=;'.txt", u"README",
     u"e#a.txt",
     u"Tôt ou tard, un nom de fichier devient si long que plus personne ne sait de quoi il parle"
     u" (version 2 bis).odt",
     u"what?.txt"});

Text AnyPath(uint16_t number) {
  return JoinPath(kFolders[number % kFolders.size()],
                  kLeaves[number / kFolders.size() % kLeaves.size()]);
}

constexpr size_t kThreshold = 51'200;  // of this size on, a file is fetched whole when it is read

// Mostly small, so that ranges overlap; often at the threshold; now and then long.
size_t Spread(uint32_t number, size_t longest) {
  const size_t rest = number / 16;
  switch (number % 16) {
    case 0:
      return 0;
    case 1:
    case 2:
    case 3:
      return kThreshold - 1 + rest % 3;
    case 4:
    case 5:
      return rest % 130'000;
    case 6:
      return rest % longest;
    default:
      return rest % 2'000;
  }
}

const Chance& ChanceOf(uint16_t kind) {
  unsigned sum = 0;
  for (const Chance& chance : kChances) sum += chance.weight;
  unsigned rest = kind % sum;
  for (const Chance& chance : kChances) {
    if (rest < chance.weight) return chance;
    rest -= chance.weight;
  }
  return kChances.back();
}

}  // namespace

Action Step::action() const { return ChanceOf(kind).action; }
Text Step::path() const { return AnyPath(first); }
Text Step::target() const { return AnyPath(second); }
Text Step::folder() const {
  const TextView usual = kFolders[first % kFolders.size()];
  return usual == u"\\" || place % 4 == 0 ? path() : Text(usual);
}
size_t Step::offset() const { return Spread(place, 300'000); }
size_t Step::length() const { return Spread(size, 600'000); }

std::string NameOf(Action action) {
  for (const Chance& chance : kChances) {
    if (chance.action == action) return chance.name;
  }
  return {};
}

std::string Describe(const Step& step) {
  const Action action = step.action();
  const bool on_folder = action == Action::kMakeFolder || action == Action::kRemoveFolder;
  std::string line = NameOf(action) + " " + ToUtf8(on_folder ? step.folder() : step.path());
  line += action == Action::kRename ? " to " + ToUtf8(step.target()) : "";
  return line + " (choice " + std::to_string(step.choice()) + ", offset " +
         std::to_string(step.offset()) + ", length " + std::to_string(step.length()) + ")";
}

}  // namespace zv::testing
