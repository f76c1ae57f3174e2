// Random sequences of operations against a plain model: what the drive answers at each step, and
// what the server holds in the end.
#include <rapidcheck.h>

#include <array>

#include "apps/zvdrive/drive/drive_path.h"
#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

struct ModelFile {
  std::string content;
  bool is_gone = false;
};

struct ModelNode {
  bool is_folder = false;
  std::shared_ptr<ModelFile> file;  // null for folders
};

// A file system as it ought to be.
class Model {
 public:
  DriveError Look(TextView path) const {
    for (Text folder = ParentOf(path); folder != kDriveRoot; folder = ParentOf(folder)) {
      const auto above = nodes_.find(folder);
      if (above != nodes_.end() && !above->second.is_folder) return DriveError::kNotFolder;
    }
    return nodes_.contains(Text(path)) ? DriveError::kNone : DriveError::kNotFound;
  }
  bool IsFolder(TextView path) const { return nodes_.at(Text(path)).is_folder; }
  bool IsEmpty(TextView folder) const { return Names(folder).empty(); }
  std::shared_ptr<ModelFile> File(TextView path) const { return nodes_.at(Text(path)).file; }

  std::map<Text, int64_t> Names(TextView folder) const {
    std::map<Text, int64_t> names;
    for (const auto& [path, node] : nodes_) {
      if (ParentOf(path) != folder) continue;
      names[LeafOf(path)] = node.file ? static_cast<int64_t>(node.file->content.size()) : -1;
    }
    return names;
  }

  DriveError CheckAbsent(TextView path) const {
    const DriveError error = Look(path);
    if (error == DriveError::kNone) return DriveError::kExists;
    if (error != DriveError::kNotFound) return error;
    const Text parent = ParentOf(path);
    const bool has_parent = parent == kDriveRoot || nodes_.contains(parent);
    return has_parent ? DriveError::kNone : DriveError::kNotFound;
  }

  DriveError Make(TextView path, bool is_folder) {
    if (const DriveError error = CheckAbsent(path); error != DriveError::kNone) return error;
    nodes_[Text(path)] = {is_folder, is_folder ? nullptr : std::make_shared<ModelFile>()};
    return DriveError::kNone;
  }

  DriveError Open(TextView path, bool empty_it) {
    if (const DriveError error = Look(path); error != DriveError::kNone) return error;
    if (IsFolder(path)) return DriveError::kIsFolder;
    if (empty_it) File(path)->content.clear();
    return DriveError::kNone;
  }

  DriveError Remove(TextView path, bool is_folder) {
    if (const DriveError error = Look(path); error != DriveError::kNone) return error;
    if (IsFolder(path) != is_folder) {
      return is_folder ? DriveError::kNotFolder : DriveError::kIsFolder;
    }
    if (is_folder && !IsEmpty(path)) return DriveError::kNotEmpty;
    Erase(path);
    return DriveError::kNone;
  }

  DriveError Rename(TextView from, TextView to, bool replace) {
    if (const DriveError error = Look(from); error != DriveError::kNone) return error;
    if (from == to) return DriveError::kNone;
    if (IsWithin(to, from)) return DriveError::kIntoItself;
    const DriveError absent = CheckAbsent(to);
    if (absent != DriveError::kNone && (absent != DriveError::kExists || !replace)) return absent;
    if (absent == DriveError::kExists) {
      if (IsFolder(from) != IsFolder(to)) {
        return IsFolder(from) ? DriveError::kNotFolder : DriveError::kIsFolder;
      }
      if (IsFolder(to) && !IsEmpty(to)) return DriveError::kNotEmpty;
      Erase(to);
    }
    std::map<Text, ModelNode> moved;
    for (const auto& [path, node] : nodes_) {
      const bool follows = IsWithin(path, from);
      moved[follows ? Text(to).append(TextView(path).substr(from.size())) : path] = node;
    }
    nodes_ = std::move(moved);
    return DriveError::kNone;
  }

  std::map<Text, std::optional<std::string>> Tree() const {
    std::map<Text, std::optional<std::string>> tree;
    for (const auto& [path, node] : nodes_) {
      tree[path] = node.file ? std::optional(node.file->content) : std::nullopt;
    }
    return tree;
  }

 private:
  void Erase(TextView path) {
    if (const auto file = File(path)) file->is_gone = true;
    nodes_.erase(Text(path));
  }

  std::map<Text, ModelNode> nodes_;
};

// Kind, two names, a place, a number.
using Step = std::tuple<uint8_t, uint8_t, uint8_t, uint32_t, uint16_t>;

class Players {
 public:
  explicit Players(bool walks_last)
      : drive_(worker_, worker_,
               {.drive_letter = u"Z:",
                .walk_lifetime =
                    walks_last ? std::chrono::milliseconds(kLongLifetime) : kNoLifetime}) {}

  void Play(const Step& step) {
    static constexpr std::array kActions = {
        &Players::CreateOne,    &Players::OpenOne,   &Players::WriteOne,   &Players::WriteOne,
        &Players::ReadOne,      &Players::CloseOne,  &Players::ResizeOne,  &Players::FlushOne,
        &Players::RenameOne,    &Players::RenameOne, &Players::MakeFolder, &Players::RemoveFile,
        &Players::RemoveFolder, &Players::LookAt,    &Players::ListOne,    &Players::MakeTrouble,
        &Players::CreateOne};
    const auto& [kind, first, second, place, number] = step;
    first_ = NameOf(first);
    second_ = NameOf(second);
    slot_ = &slots_[second % slots_.size()];
    place_ = place % 5 == 0 ? place % 150'000 : place % 2'000;
    number_ = number;
    (this->*kActions[kind % kActions.size()])();
  }

  void End() {
    for (Slot& slot : slots_) {
      slot_ = &slot;
      CloseOne();
    }
    RC_ASSERT(worker_.broken_walks() == 0);
    RC_ASSERT(worker_.ServerTree() == model_.Tree());
    for (const auto& [path, content] : model_.Tree()) {
      RC_ASSERT(!worker_.IsUnsent(path));
      RC_ASSERT(drive_.Look(path).value.is_folder == !content.has_value());
    }
  }

 private:
  struct Slot {
    FileHandle file;
    std::shared_ptr<ModelFile> model;
  };

  static Text NameOf(uint8_t number) {
    static constexpr std::array<TextView, 4> kFolders = {u"\\", u"\\d", u"\\e", u"\\d\\e"};
    static constexpr std::array<TextView, 6> kLeaves = {u"a.txt", u"b.tmp", u"c",
                                                        u"d",     u"e",     u"f.doc"};
    return JoinPath(kFolders[number / 6 % 4], kLeaves[number % 6]);
  }

  void Keep(const DriveResult<OpenedFile>& opened) {
    if (!opened) return;
    CloseOne();
    *slot_ = {opened.value.file, model_.File(first_)};
  }

  void CreateOne() {
    const auto opened = drive_.Create(first_);
    RC_ASSERT(opened.error == model_.Make(first_, false));
    Keep(opened);
  }
  void OpenOne() {
    const bool empty_it = number_ % 4 == 0;
    const auto opened = drive_.Open(first_, empty_it);
    RC_ASSERT(opened.error == model_.Open(first_, empty_it));
    Keep(opened);
  }
  void WriteOne() {
    if (!slot_->file) return;
    const std::string data = Pattern(1 + number_ % 3'000, number_);
    const DriveError error = drive_.Write(*slot_->file, place_, BytesOf(data));
    RC_ASSERT(error == (slot_->model->is_gone ? DriveError::kNotFound : DriveError::kNone));
    std::string& content = slot_->model->content;
    if (content.size() < place_ + data.size()) content.resize(place_ + data.size(), '\0');
    content.replace(place_, data.size(), data);
  }
  void ReadOne() {
    if (!slot_->file) return;
    std::vector<std::byte> into(1 + number_);
    const auto count = drive_.Read(*slot_->file, place_, into);
    if (slot_->model->is_gone) {
      RC_ASSERT(count.error == DriveError::kNotFound);
      return;
    }
    const std::string& content = slot_->model->content;
    const std::string expected =
        place_ < content.size() ? content.substr(place_, into.size()) : std::string();
    RC_ASSERT(count.error == DriveError::kNone);
    const std::string got(reinterpret_cast<const char*>(into.data()), count.value);
    RC_ASSERT(got == expected);
  }
  void ResizeOne() {
    if (!slot_->file) return;
    const auto size = number_ % 3 == 0 ? 0 : static_cast<int64_t>(place_);
    const DriveError error = drive_.Resize(*slot_->file, size);
    RC_ASSERT(error == (slot_->model->is_gone ? DriveError::kNotFound : DriveError::kNone));
    slot_->model->content.resize(static_cast<size_t>(size), '\0');
  }
  void FlushOne() {
    if (!slot_->file) return;
    RC_ASSERT(drive_.Flush(*slot_->file, kProcess) == DriveError::kNone);
  }
  void CloseOne() {
    if (!slot_->file) return;
    RC_ASSERT(drive_.Close(slot_->file, kProcess) == DriveError::kNone);
    *slot_ = {};
  }
  void RenameOne() {
    const bool replace = number_ % 4 != 0;
    const DriveError error = drive_.Rename(first_, second_, replace, kProcess);
    RC_ASSERT(error == model_.Rename(first_, second_, replace));
  }
  void MakeFolder() { RC_ASSERT(drive_.MakeFolder(first_) == model_.Make(first_, true)); }
  void RemoveFile() {
    RC_ASSERT(drive_.RemoveFile(first_, kProcess) == model_.Remove(first_, false));
  }
  void RemoveFolder() {
    RC_ASSERT(drive_.RemoveFolder(first_, kProcess) == model_.Remove(first_, true));
  }
  void LookAt() {
    const auto info = drive_.Look(first_);
    RC_ASSERT(info.error == model_.Look(first_));
    if (!info) return;
    RC_ASSERT(info.value.is_folder == model_.IsFolder(first_));
    if (const auto file = model_.File(first_)) {
      RC_ASSERT(info.value.size == static_cast<int64_t>(file->content.size()));
    }
  }
  void ListOne() {
    const Text folder = ParentOf(first_);
    if (folder != kDriveRoot &&
        (model_.Look(folder) != DriveError::kNone || !model_.IsFolder(folder))) {
      return;
    }
    const auto nodes = drive_.List(folder);
    RC_ASSERT(nodes.error == DriveError::kNone);
    std::map<Text, int64_t> names;
    for (const NamedNode& node : nodes.value) {
      names[node.name] = node.info.is_folder ? -1 : node.info.size;
    }
    RC_ASSERT(names == model_.Names(folder));
  }
  // At most what a block's attempts get over.
  void MakeTrouble() {
    if (number_ % 3 == 0) worker_.SetLatch();
    if (number_ % 3 == 1) worker_.FailNextBlocks(1);
    if (number_ % 3 == 2) drive_.Invalidate(first_);
  }

  FakeWorker worker_;
  VirtualDrive drive_;
  Model model_;
  std::array<Slot, 4> slots_;

  // Of the step being played.
  Text first_, second_;
  Slot* slot_ = nullptr;
  size_t place_ = 0;
  uint16_t number_ = 0;
};

TEST(DriveModelTest, AnswersAsAPlainFileSystemDoes) {
  const bool holds = rc::check([](bool walks_last) {
    // Long sequences of steps that are random in all their bits.
    const auto any_step = rc::gen::resize(rc::kNominalSize, rc::gen::arbitrary<Step>());
    const auto steps = *rc::gen::scale(6.0, rc::gen::container<std::vector<Step>>(any_step));
    Players players(walks_last);
    for (const Step& step : steps) players.Play(step);
    players.End();
    RC_CLASSIFY(steps.size() > 200, "long");
  });
  EXPECT_TRUE(holds);
}

}  // namespace
}  // namespace zv::testing
