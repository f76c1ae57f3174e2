// Random operations on the drive, by way of the protocol and the worker, against a plain model; at
// the end the server's tree is the model's, and a new drive shows it.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <random>

#include "apps/zvdrive/drive/virtual_drive.h"
#include "apps/zvdrive/worker_host.h"
#include "tests/apps/drive_model.h"
#include "tests/apps/plain_channel.h"
#include "tests/e2e/protocol_fixture.h"

namespace zv::testing {
namespace {

constexpr TextView kProcess = u"editor";
constexpr unsigned kSteps = ZV_MODEL_STEPS / 2;  // operations of each of the two games

// The drive's requests, asked through the playing driver.
class BenchChannel final : public PlainChannel {
 public:
  explicit BenchChannel(DriverBench& bench) : bench_(bench) {}

  std::optional<ChannelReply> Submit(DriveQueue queue, const RequestRecord& record,
                                     std::span<const std::byte> block, std::span<std::byte> into,
                                     const WhileWaiting&) override {
    const SubmitResult result =
        bench_.Submit(queue == DriveQueue::kInfo ? RequestQueue::kInfo : RequestQueue::kTransfer,
                      std::as_bytes(std::span(&record, 1)), block);
    if (result.outcome != Outcome::kReplied || result.reply.copy_failed) return std::nullopt;
    ChannelReply reply;
    reply.code = result.reply.code;
    reply.record_size = std::min(result.reply.record.size(), reply.record.size());
    std::copy_n(result.reply.record.begin(), reply.record_size, reply.record.begin());
    reply.data_size = std::min(result.reply.data.size(), into.size());
    std::copy_n(result.reply.data.begin(), reply.data_size, into.begin());
    return reply;
  }

 private:
  DriverBench& bench_;
};

unsigned FromEnvironment(const char* name, unsigned usual) {
  const char* text = std::getenv(name);
  return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : usual;
}

// Plays on the drive and on the model and compares what they answer.
class Player {
 public:
  Player(DriverBench& bench, unsigned seed, bool walks_last)
      : channel_(bench),
        random_(seed),
        drive_(channel_, host_,
               {.drive_letter = u"Y:",
                .walk_lifetime = std::chrono::milliseconds(walks_last ? 2000 : -1)}) {}

  void PlayOne() {
    static constexpr std::array kActions = {
        &Player::CreateOne, &Player::CreateOne,    &Player::OpenOne,    &Player::WriteOne,
        &Player::WriteOne,  &Player::ReadOne,      &Player::CloseOne,   &Player::ResizeOne,
        &Player::RenameOne, &Player::RenameOne,    &Player::MakeFolder, &Player::RemoveFile,
        &Player::LookAt,    &Player::RemoveFolder, &Player::ListOne};
    first_ = AnyPath();
    second_ = AnyPath();
    slot_ = &slots_[Any(slots_.size())];
    (this->*kActions[Any(kActions.size())])();
  }

  void CloseAll() {
    for (Slot& slot : slots_) {
      slot_ = &slot;
      CloseOne();
    }
  }

  const DriveModel& model() const { return model_; }

 private:
  struct Slot {
    FileHandle file;
    std::shared_ptr<ModelFile> model;
  };

  unsigned Any(size_t count) { return static_cast<unsigned>(random_() % count); }
  // Mostly small, so that files overlap and end within each other.
  size_t AnyPlace() { return Any(5) == 0 ? Any(150'000) : Any(2'000); }
  Text AnyPath() {
    static constexpr std::array<TextView, 4> kFolders = {u"\\", u"\\d", u"\\e", u"\\d\\e"};
    static constexpr std::array<TextView, 6> kLeaves = {u"a.txt", u"b.tmp", u"c \u00FC",
                                                        u"d",     u"e",     u"f.doc"};
    return JoinPath(kFolders[Any(kFolders.size())], kLeaves[Any(kLeaves.size())]);
  }

  void Expect(DriveError found, DriveError expected, const char* operation) {
    EXPECT_EQ(static_cast<int>(found), static_cast<int>(expected))
        << operation << " " << ToUtf8(first_) << " " << ToUtf8(second_);
  }
  DriveError WhenThere(const Slot& slot) const {
    return slot.model->is_gone ? DriveError::kNotFound : DriveError::kNone;
  }

  void Keep(const DriveResult<OpenedFile>& opened) {
    if (!opened) return;
    CloseOne();
    *slot_ = {opened.value.file, model_.File(first_)};
  }
  void CreateOne() {
    const auto opened = drive_.Create(first_);
    Expect(opened.error, model_.Make(first_, false), "create");
    Keep(opened);
    WriteOne();
  }
  void OpenOne() {
    const bool empty_it = Any(4) == 0;
    const auto opened = drive_.Open(first_, empty_it);
    Expect(opened.error, model_.Open(first_, empty_it), "open");
    Keep(opened);
  }
  void WriteOne() {
    if (!slot_->file) return;
    const size_t place = AnyPlace();
    const std::string data = PatternBytes(Any(60'000), 1 + Any(3'000));
    Expect(drive_.Write(*slot_->file, static_cast<int64_t>(place), std::as_bytes(std::span(data))),
           WhenThere(*slot_), "write");
    std::string& content = slot_->model->content;
    if (content.size() < place + data.size()) content.resize(place + data.size(), '\0');
    content.replace(place, data.size(), data);
  }
  void ReadOne() {
    if (!slot_->file) return;
    const size_t place = AnyPlace();
    std::string found(1 + Any(65'536), '\0');
    const auto count = drive_.Read(*slot_->file, static_cast<int64_t>(place),
                                   std::as_writable_bytes(std::span(found)));
    Expect(count.error, WhenThere(*slot_), "read");
    if (!count) return;
    const std::string& content = slot_->model->content;
    const std::string expected =
        place < content.size() ? content.substr(place, found.size()) : std::string();
    found.resize(count.value);
    EXPECT_TRUE(found == expected) << "read at " << place << " of " << content.size();
  }
  void ResizeOne() {
    if (!slot_->file) return;
    const size_t size = Any(3) == 0 ? 0 : AnyPlace();
    Expect(drive_.Resize(*slot_->file, static_cast<int64_t>(size)), WhenThere(*slot_), "resize");
    slot_->model->content.resize(size, '\0');
  }
  void CloseOne() {
    if (!slot_->file) return;
    Expect(drive_.Close(slot_->file, kProcess), DriveError::kNone, "close");
    *slot_ = {};
  }
  void RenameOne() {
    const bool replace = Any(4) != 0;
    Expect(drive_.Rename(first_, second_, replace, kProcess),
           model_.Rename(first_, second_, replace), "rename");
  }
  void MakeFolder() { Expect(drive_.MakeFolder(first_), model_.Make(first_, true), "make folder"); }
  void RemoveFile() {
    Expect(drive_.RemoveFile(first_, kProcess), model_.Remove(first_, false), "remove file");
  }
  void RemoveFolder() {
    Expect(drive_.RemoveFolder(first_, kProcess), model_.Remove(first_, true), "remove folder");
  }
  void LookAt() {
    const auto info = drive_.Look(first_);
    Expect(info.error, model_.Look(first_), "look at");
    if (!info || ::testing::Test::HasFailure()) return;
    EXPECT_EQ(info.value.is_folder, model_.IsFolder(first_));
    if (const auto file = model_.File(first_)) {
      EXPECT_EQ(info.value.size, static_cast<int64_t>(file->content.size()));
    }
  }
  void ListOne() {
    const Text folder = ParentOf(first_);
    if (folder != kDriveRoot &&
        (model_.Look(folder) != DriveError::kNone || !model_.IsFolder(folder))) {
      return;
    }
    const auto nodes = drive_.List(folder);
    Expect(nodes.error, DriveError::kNone, "list the folder of");
    std::map<Text, int64_t> names;
    for (const NamedNode& node : nodes.value) {
      names[node.name] = node.info.is_folder ? -1 : node.info.size;
    }
    EXPECT_EQ(names, model_.Names(folder)) << ToUtf8(folder);
  }

  BenchChannel channel_;
  WorkerHost host_{u"Y:", {}};
  std::mt19937 random_;
  VirtualDrive drive_;
  DriveModel model_;
  std::array<Slot, 3> slots_;

  // Of the operation being played.
  Text first_, second_;
  Slot* slot_ = nullptr;
};

class ProtocolModelTest : public ProtocolTest {
 protected:
  static DavTree ServerForm(const std::map<Text, std::optional<std::string>>& tree) {
    DavTree on_server;
    for (const auto& [path, content] : tree) {
      on_server[ToUtf8(ReplaceAll(path, u'\\', u'/'))] = content;
    }
    return on_server;
  }

  // Everything that a drive shows, by walking it and reading its files.
  DavTree Shown(VirtualDrive& drive, const Text& folder) {
    std::map<Text, std::optional<std::string>> tree;
    std::vector<Text> folders = {folder};
    while (!folders.empty()) {
      const Text current = folders.back();
      folders.pop_back();
      for (const NamedNode& node : drive.List(current).value) {
        const Text path = JoinPath(current, node.name);
        if (node.info.is_folder) folders.push_back(path);
        tree[path] = node.info.is_folder ? std::nullopt
                                         : std::optional(ContentOf(drive, path, node.info.size));
      }
    }
    return ServerForm(tree);
  }
  std::string ContentOf(VirtualDrive& drive, TextView path, int64_t size) {
    const auto opened = drive.Open(path, false);
    if (!opened) return "(the file does not open)";
    std::string content(static_cast<size_t>(size), '\0');
    const auto count =
        drive.Read(*opened.value.file, 0, std::as_writable_bytes(std::span(content)));
    content.resize(count ? count.value : 0);
    EXPECT_TRUE(drive.Close(opened.value.file, kProcess) == DriveError::kNone);
    return content;
  }

  void Play(bool walks_last) {
    const unsigned seed = FromEnvironment("ZV_MODEL_SEED", 20261115);
    const unsigned steps = FromEnvironment("ZV_MODEL_STEPS", kSteps);
    StartServing();
    Player player(*bench_, seed, walks_last);
    for (unsigned i = 0; i < steps; ++i) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", operation " + std::to_string(i));
      player.PlayOne();
      if (HasFailure()) return;
    }
    SCOPED_TRACE("seed " + std::to_string(seed));
    player.CloseAll();
    const DavTree expected = ServerForm(player.model().Tree());
    EXPECT_EQ(account_.Tree(), expected);
    StopServing();
    StartServing();
    BenchChannel channel(*bench_);
    WorkerHost host(u"Y:", {});
    VirtualDrive drive(channel, host, {.drive_letter = u"Y:"});
    EXPECT_EQ(Shown(drive, Text(kDriveRoot)), expected);
  }
};

// ZV_MODEL_SEED and ZV_MODEL_STEPS in the environment play another or a longer game.
TEST_F(ProtocolModelTest, EndsAsAPlainFileSystemDoesWhenEveryLookAsks) { Play(false); }
TEST_F(ProtocolModelTest, EndsAsAPlainFileSystemDoesWhenWalksLast) { Play(true); }

}  // namespace
}  // namespace zv::testing
