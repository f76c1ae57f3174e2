// Random sequences of operations against a plain model: what the drive answers at each step, and
// what the server holds in the end.
#include <rapidcheck.h>

#include <array>

#include "tests/apps/drive_fixture.h"
#include "tests/apps/drive_model.h"

namespace zv::testing {
namespace {

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
  DriveModel model_;
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
