#include "tests/e2e/mount_player.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace zv::testing {
namespace {

namespace fs = std::filesystem;

constexpr size_t kTraceLines = 40;                       // that a failure shows
constexpr auto kHiddenLives = std::chrono::seconds(20);  // at most, after its file was closed

int ErrorOf(int result) { return result < 0 ? errno : 0; }

std::string ErrorName(int error) {
  return error == 0 ? "done" : std::string(::strerrorname_np(error));
}

// Bytes that hardly ever agree with those of another number.
std::string Bytes(size_t size, uint32_t number) {
  std::string bytes(size, '\0');
  uint32_t state = number * 2'654'435'761u + 1;
  for (char& byte : bytes) {
    state = state * 1'664'525u + 1'013'904'223u;
    byte = static_cast<char>(state >> 24);
  }
  return bytes;
}

void Lay(std::string& content, size_t offset, const std::string& data) {
  if (data.empty()) return;
  if (content.size() < offset + data.size()) content.resize(offset + data.size(), '\0');
  content.replace(offset, data.size(), data);
}

std::string Part(const std::string& content, size_t offset, size_t length) {
  return offset < content.size() ? content.substr(offset, length) : std::string();
}

Text PathWithin(const fs::path& folder, const fs::path& path) {
  return u"\\" + ReplaceAll(FromUtf8(path.lexically_relative(folder).string()), u'/', u'\\');
}

bool IsHidden(const fs::path& path) {
  return PosixModel::IsHiddenName(FromUtf8(path.filename().string()));
}

}  // namespace

// An open file, or why it did not open.
class MountPlayer::Descriptor {
 public:
  Descriptor(const fs::path& file, int flags)
      : number_(::open(file.c_str(), flags, 0644)), error_(ErrorOf(number_)) {}
  Descriptor(Descriptor&& other) noexcept
      : number_(std::exchange(other.number_, -1)), error_(other.error_) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int error() const { return error_; }
  int number() const { return number_; }
  int Close() { return number_ < 0 ? 0 : ErrorOf(::close(std::exchange(number_, -1))); }

 private:
  int number_;
  int error_;
};

struct MountPlayer::Slot {
  Descriptor descriptor;
  std::shared_ptr<ModelFile> file;
};

MountPlayer::MountPlayer(PlayGround ground, Tally& tally)
    : ground_(std::move(ground)), tally_(tally), model_(ground_.kind) {}
MountPlayer::~MountPlayer() = default;

void MountPlayer::Play(const Step& step) {
  step_ = step;
  answer_ = 0;
  trace_.push_back(std::to_string(played_++) + " " + Describe(step));
  if (trace_.size() > kTraceLines) trace_.pop_front();
  Do();
  trace_.back() += ": " + ErrorName(answer_);
  Counts& counts = tally_[step.action()];
  ++(answer_ == 0 ? counts.done : counts.refused);
}

void MountPlayer::Do() {
  static const std::map<Action, void (MountPlayer::*)()> kPlays = {
      {Action::kSave, &MountPlayer::Save},
      {Action::kMakeFile, &MountPlayer::MakeFile},
      {Action::kAppend, &MountPlayer::Append},
      {Action::kWriteInPart, &MountPlayer::WriteInPart},
      {Action::kResize, &MountPlayer::Resize},
      {Action::kRead, &MountPlayer::Read},
      {Action::kReadInPart, &MountPlayer::ReadInPart},
      {Action::kHold, &MountPlayer::Hold},
      {Action::kHeldWrite, &MountPlayer::HeldWrite},
      {Action::kHeldRead, &MountPlayer::HeldRead},
      {Action::kHeldResize, &MountPlayer::HeldResize},
      {Action::kHeldSync, &MountPlayer::HeldSync},
      {Action::kLetGo, &MountPlayer::LetGo},
      {Action::kRename, &MountPlayer::Rename},
      {Action::kRemoveFile, &MountPlayer::RemoveFile},
      {Action::kMakeFolder, &MountPlayer::MakeFolder},
      {Action::kRemoveFolder, &MountPlayer::RemoveFolder},
      {Action::kList, &MountPlayer::List},
      {Action::kLook, &MountPlayer::Look},
      {Action::kCompare, &MountPlayer::Compare},
      {Action::kRemount, &MountPlayer::Remount}};
  try {
    (this->*kPlays.at(step_.action()))();
  } catch (const fs::filesystem_error& error) {
    Fail(error.what());
  }
}

// --- whole files

void MountPlayer::Save() {
  const Text path = step_.path();
  Descriptor descriptor(Local(path), O_WRONLY | O_CREAT | O_TRUNC);
  const int exists = model_.OpenFile(path);
  if (!Opened(descriptor, exists == ENOENT ? model_.MakeFile(path) : exists)) return;
  const auto file = model_.File(path);
  file->content.clear();
  const std::string data = Content();
  // In one piece, as most programs do it, or in several.
  const size_t piece =
      std::array<size_t, 4>{data.size(), 4'096, 10'000, 65'536}[step_.choice() % 4];
  for (size_t done = 0; done < data.size(); done += piece) {
    WriteAll(descriptor, Part(data, done, piece), done);
  }
  file->content = data;
  model_.NoteWritten(file);
  CloseFile(descriptor, file);
}

void MountPlayer::MakeFile() {
  const Text path = step_.path();
  Descriptor descriptor(Local(path), O_RDWR | O_CREAT | O_EXCL);
  if (!Opened(descriptor, model_.MakeFile(path))) return;
  CloseFile(descriptor, model_.File(path));
}

void MountPlayer::Append() {
  const Text path = step_.path();
  Descriptor descriptor(Local(path), O_WRONLY | O_APPEND);
  if (!Opened(descriptor, model_.OpenFile(path))) return;
  const auto file = model_.File(path);
  const std::string data = Content();
  const ssize_t count = ::write(descriptor.number(), data.data(), data.size());
  if (count != static_cast<ssize_t>(data.size())) Fail("appended " + std::to_string(count));
  file->content += data;
  if (!data.empty()) model_.NoteWritten(file);
  CloseFile(descriptor, file);
}

void MountPlayer::WriteInPart() {
  const Text path = step_.path();
  const bool reads_too = step_.choice() % 2 == 0;
  Descriptor descriptor(Local(path), reads_too ? O_RDWR : O_WRONLY);
  if (!Opened(descriptor, model_.OpenFile(path))) return;
  const auto file = model_.File(path);
  const std::string data = Content();
  WriteAll(descriptor, data, step_.offset());
  Lay(file->content, step_.offset(), data);
  if (!data.empty()) model_.NoteWritten(file);
  if (reads_too) {
    ExpectBytes(ReadAll(descriptor, 0, file->content.size() + 1), file->content, "read back");
  }
  CloseFile(descriptor, file);
}

void MountPlayer::Resize() {
  const Text path = step_.path();
  const size_t size = step_.length();
  Expect(ErrorOf(::truncate(Local(path).c_str(), static_cast<off_t>(size))), model_.OpenFile(path));
  if (answer_ != 0) return;
  const auto file = model_.File(path);
  if (size != file->content.size()) model_.NoteWritten(file);
  file->content.resize(size, '\0');
  model_.NoteSent(file);
}

void MountPlayer::Read() {
  const Text path = step_.path();
  Descriptor descriptor(Local(path), O_RDONLY | O_NOFOLLOW);
  if (!Opened(descriptor, model_.Look(path))) return;
  if (model_.IsFolder(path)) {
    char byte = 0;
    return Expect(ErrorOf(static_cast<int>(::read(descriptor.number(), &byte, 1))), EISDIR, "read");
  }
  const auto file = model_.File(path);
  ExpectBytes(ReadAll(descriptor, 0, file->content.size() + 1), file->content, "content");
  CloseFile(descriptor, file);
}

void MountPlayer::ReadInPart() {
  const Text path = step_.path();
  Descriptor descriptor(Local(path), O_RDWR);
  if (!Opened(descriptor, model_.OpenFile(path))) return;
  const auto file = model_.File(path);
  const size_t length = step_.length();
  ExpectBytes(ReadAll(descriptor, step_.offset(), length),
              Part(file->content, step_.offset(), length), "part");
  CloseFile(descriptor, file);
}

// --- descriptors that stay open

void MountPlayer::Hold() {
  const Text path = step_.path();
  const bool empties = step_.choice() % 5 == 0;
  const bool makes = step_.choice() % 3 == 0;
  const int flags = O_RDWR | (empties ? O_TRUNC : 0) | (makes ? O_CREAT : 0);
  Descriptor descriptor(Local(path), flags);
  const int exists = model_.OpenFile(path);
  if (!Opened(descriptor, exists == ENOENT && makes ? model_.MakeFile(path) : exists)) return;
  const auto file = model_.File(path);
  auto& slot = slots_[step_.choice() % slots_.size()];
  if (slot) Release(*slot);
  slot = std::make_unique<Slot>(std::move(descriptor), file);
  model_.Hold(file);
  if (!empties) return;
  file->content.clear();
  model_.NoteWritten(file);
}

MountPlayer::Slot* MountPlayer::Held() {
  Slot* const slot = slots_[step_.choice() % slots_.size()].get();
  if (!slot) answer_ = EBADF;
  return slot;
}

void MountPlayer::HeldWrite() {
  Slot* const slot = Held();
  if (!slot) return;
  const std::string data = Content();
  WriteAll(slot->descriptor, data, step_.offset());
  Lay(slot->file->content, step_.offset(), data);
  if (!data.empty()) model_.NoteWritten(slot->file);
}

void MountPlayer::HeldRead() {
  Slot* const slot = Held();
  if (!slot) return;
  const std::string& content = slot->file->content;
  struct stat info {};
  Expect(ErrorOf(::fstat(slot->descriptor.number(), &info)), 0, "fstat");
  if (static_cast<size_t>(info.st_size) != content.size()) {
    Fail("the held file has " + std::to_string(info.st_size) + " bytes instead of " +
         std::to_string(content.size()));
  }
  ExpectBytes(ReadAll(slot->descriptor, step_.offset(), step_.length()),
              Part(content, step_.offset(), step_.length()), "held part");
}

void MountPlayer::HeldResize() {
  Slot* const slot = Held();
  if (!slot) return;
  const size_t size = step_.length();
  Expect(ErrorOf(::ftruncate(slot->descriptor.number(), static_cast<off_t>(size))), 0, "ftruncate");
  if (size != slot->file->content.size()) model_.NoteWritten(slot->file);
  slot->file->content.resize(size, '\0');
}

void MountPlayer::HeldSync() {
  Slot* const slot = Held();
  if (!slot) return;
  Expect(ErrorOf(::fsync(slot->descriptor.number())), 0, "fsync");
  model_.NoteSent(slot->file);
}

void MountPlayer::LetGo() {
  if (!Held()) return;
  auto& slot = slots_[step_.choice() % slots_.size()];
  Release(*slot);
  slot.reset();
}

void MountPlayer::Release(Slot& slot) {
  CloseFile(slot.descriptor, slot.file);
  const size_t hidden = model_.hidden_count();
  model_.LetGo(slot.file);
  if (model_.hidden_count() < hidden) AwaitNoHidden();
}

// The kernel tells of a close after it returned: the hidden entry goes a moment later.
void MountPlayer::AwaitNoHidden() {
  const auto end = std::chrono::steady_clock::now() + kHiddenLives;
  for (;;) {
    size_t count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(ground_.folder)) {
      count += IsHidden(entry.path()) ? 1 : 0;
    }
    if (count <= model_.hidden_count()) return;
    if (std::chrono::steady_clock::now() > end) Fail("a removed file stays although it is closed");
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

// --- names

void MountPlayer::Rename() {
  const bool replace = step_.choice() % 4 != 0;
  const int result =
      ::renameat2(AT_FDCWD, Local(step_.path()).c_str(), AT_FDCWD, Local(step_.target()).c_str(),
                  replace ? 0u : static_cast<unsigned>(RENAME_NOREPLACE));
  Expect(ErrorOf(result), model_.Rename(step_.path(), step_.target(), replace));
}

void MountPlayer::RemoveFile() {
  Expect(ErrorOf(::unlink(Local(step_.path()).c_str())), model_.RemoveFile(step_.path()));
}

void MountPlayer::MakeFolder() {
  Expect(ErrorOf(::mkdir(Local(step_.folder()).c_str(), 0755)), model_.MakeFolder(step_.folder()));
}

void MountPlayer::RemoveFolder() {
  Expect(ErrorOf(::rmdir(Local(step_.folder()).c_str())), model_.RemoveFolder(step_.folder()));
}

void MountPlayer::List() {
  const Text folder = ParentOf(step_.path());
  std::error_code error;
  std::map<Text, int64_t> names;
  for (fs::directory_iterator entry(Local(folder), error), end; !error && entry != end;
       entry.increment(error)) {
    if (IsHidden(entry->path())) continue;
    names[FromUtf8(entry->path().filename().string())] =
        entry->is_directory() ? -1 : static_cast<int64_t>(entry->file_size());
  }
  Expect(error.value(), model_.List(folder));
  if (answer_ != 0 || names == model_.Names(folder)) return;
  std::ostringstream text;
  text << "listed:";
  for (const auto& [name, size] : names) text << " [" << ToUtf8(name) << " " << size << "]";
  text << "; expected:";
  for (const auto& [name, size] : model_.Names(folder)) {
    text << " [" << ToUtf8(name) << " " << size << "]";
  }
  Fail(text.str());
}

void MountPlayer::Look() {
  const Text path = step_.path();
  struct stat info {};
  Expect(ErrorOf(::stat(Local(path).c_str(), &info)), model_.Look(path));
  if (answer_ != 0) return;
  if (S_ISDIR(info.st_mode) != model_.IsFolder(path)) Fail("folders and files mixed up");
  if (model_.IsFolder(path)) return;
  const size_t expected = model_.File(path)->content.size();
  if (static_cast<size_t>(info.st_size) == expected) return;
  Fail(std::to_string(info.st_size) + " bytes instead of " + std::to_string(expected));
}

// --- everything

void MountPlayer::Compare() {
  CompareTrees(ground_.folder, model_.Tree());
  for (const auto& [path, content] : model_.Tree()) {
    // Each file was opened and closed.
    if (content) model_.NoteSent(model_.File(path));
  }
  if (ground_.kind != FolderKind::kLocal) CompareTrees(ground_.on_server, model_.ServerTree());
}

void MountPlayer::Remount() {
  for (auto& slot : slots_) {
    if (slot) Release(*slot);
    slot.reset();
  }
  Compare();
  ground_.remount();
  Compare();
}

void MountPlayer::End() {
  trace_.push_back("end");
  try {
    Remount();
    fs::remove_all(ground_.folder);
  } catch (const fs::filesystem_error& error) {
    Fail(error.what());
  }
  if (fs::exists(ground_.folder)) Fail("the removed folder is still there");
  if (!ground_.on_server.empty() && fs::exists(ground_.on_server)) {
    Fail("the removed folder is still on the server");
  }
}

void MountPlayer::CompareTrees(const fs::path& folder, const ModelTree& expected) {
  ModelTree missing = expected;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (IsHidden(entry.path())) continue;
    const Text path = PathWithin(folder, entry.path());
    const auto found = missing.find(path);
    if (found == missing.end()) Fail(entry.path().string() + " ought not to be there");
    if (entry.is_directory() == found->second.has_value()) {
      Fail(entry.path().string() + " is of the wrong kind");
    }
    if (found->second) CompareFile(entry.path(), *found->second);
    missing.erase(found);
  }
  if (!missing.empty()) Fail(folder.string() + " lacks " + ToUtf8(missing.begin()->first));
}

void MountPlayer::CompareFile(const fs::path& file, const std::string& expected) {
  if (const auto size = fs::file_size(file); size != expected.size()) {
    Fail(file.string() + " has " + std::to_string(size) + " bytes instead of " +
         std::to_string(expected.size()));
  }
  Descriptor descriptor(file, O_RDONLY);
  Expect(descriptor.error(), 0, "open of " + file.string());
  const std::string found = ReadAll(descriptor, 0, expected.size() + 1);
  Expect(descriptor.Close(), 0, "close");
  ExpectBytes(found, expected, file.string());
}

// --- descriptors

fs::path MountPlayer::Local(TextView path) const {
  return ground_.folder / ToUtf8(ReplaceAll(path.substr(1), u'\\', u'/'));
}

bool MountPlayer::Opened(const Descriptor& descriptor, int expected) {
  Expect(descriptor.error(), expected, "open");
  return descriptor.error() == 0;
}

void MountPlayer::WriteAll(const Descriptor& descriptor, const std::string& data, size_t offset) {
  const ssize_t count =
      ::pwrite(descriptor.number(), data.data(), data.size(), static_cast<off_t>(offset));
  if (count == static_cast<ssize_t>(data.size())) return;
  Fail("wrote " + std::to_string(count) + " of " + std::to_string(data.size()) + " bytes, " +
       ErrorName(ErrorOf(static_cast<int>(count))));
}

// Until the length or the end is reached.
std::string MountPlayer::ReadAll(const Descriptor& descriptor, size_t offset, size_t length) {
  std::string data(length, '\0');
  size_t done = 0;
  while (done < length) {
    const ssize_t count = ::pread(descriptor.number(), data.data() + done, length - done,
                                  static_cast<off_t>(offset + done));
    if (count < 0) {
      const std::string error = ErrorName(errno);
      const fs::path file =
          fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor.number()));
      Fail("read of " + file.string() + " at " + std::to_string(offset + done) + ": " + error);
    }
    if (count == 0) break;
    done += static_cast<size_t>(count);
  }
  data.resize(done);
  return data;
}

void MountPlayer::CloseFile(Descriptor& descriptor, const std::shared_ptr<ModelFile>& file) {
  Expect(descriptor.Close(), 0, "close");
  model_.NoteSent(file);
}

std::string MountPlayer::Content() const {
  return Bytes(step_.length(), step_.size ^ step_.place ^ played_);
}

void MountPlayer::Expect(int found, int expected, const std::string& what) {
  if (found != expected) {
    Fail(what + " answered " + ErrorName(found) + " instead of " + ErrorName(expected));
  }
  answer_ = found;
}

void MountPlayer::ExpectBytes(const std::string& found, const std::string& expected,
                              const std::string& what) {
  if (found == expected) return;
  const auto place = std::ranges::mismatch(found, expected).in1 - found.begin();
  Fail(what + ": " + std::to_string(found.size()) + " bytes instead of " +
       std::to_string(expected.size()) + ", the first difference at " + std::to_string(place));
}

void MountPlayer::Fail(const std::string& what) const {
  std::string text = what + "\nthe last operations:\n";
  for (const std::string& line : trace_) text += "  " + line + "\n";
  throw std::runtime_error(text);
}

}  // namespace zv::testing
