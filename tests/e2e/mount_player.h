// Plays steps in a folder and on the model, and compares what they answer.
#pragma once

#include <array>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "tests/e2e/mount_steps.h"
#include "tests/e2e/posix_model.h"

namespace zv::testing {

struct PlayGround {
  FolderKind kind = FolderKind::kLocal;
  std::filesystem::path folder;     // that is played in: there and empty
  std::filesystem::path on_server;  // the same folder where the server keeps it; not of kLocal
  std::function<void()> remount;
};

// How often each action was done, and how often refused, rightly.
struct Counts {
  unsigned done = 0;
  unsigned refused = 0;
};
using Tally = std::map<Action, Counts>;

// Any difference is thrown as a std::runtime_error, with the last operations in its text.
class MountPlayer {
 public:
  MountPlayer(PlayGround ground, Tally& tally);
  ~MountPlayer();
  MountPlayer(const MountPlayer&) = delete;
  MountPlayer& operator=(const MountPlayer&) = delete;

  void Play(const Step& step);
  // Closes, compares, mounts again, compares, and removes the folder.
  void End();

 private:
  class Descriptor;
  struct Slot;  // a descriptor that stays open

  void Do();
  void Save();
  void MakeFile();
  void Append();
  void WriteInPart();
  void Resize();
  void Read();
  void ReadInPart();
  void Hold();
  void HeldWrite();
  void HeldRead();
  void HeldResize();
  void HeldSync();
  void LetGo();
  void Rename();
  void RemoveFile();
  void MakeFolder();
  void RemoveFolder();
  void List();
  void Look();
  void Compare();
  void Remount();

  // The descriptor that the step is about; null, and the step is refused, when it is not open.
  Slot* Held();
  std::filesystem::path Local(TextView path) const;
  void Expect(int found, int expected, const std::string& what = {});
  void ExpectBytes(const std::string& found, const std::string& expected, const std::string& what);
  // Whether it did, as expected.
  bool Opened(const Descriptor& descriptor, int expected);
  void WriteAll(const Descriptor& descriptor, const std::string& data, size_t offset);
  std::string ReadAll(const Descriptor& descriptor, size_t offset, size_t length);
  void CloseFile(Descriptor& descriptor, const std::shared_ptr<ModelFile>& file);
  void Release(Slot& slot);
  void AwaitNoHidden();
  void CompareTrees(const std::filesystem::path& folder, const ModelTree& expected);
  void CompareFile(const std::filesystem::path& file, const std::string& expected);
  std::string Content() const;
  [[noreturn]] void Fail(const std::string& what) const;

  const PlayGround ground_;
  Tally& tally_;
  PosixModel model_;
  std::array<std::unique_ptr<Slot>, 3> slots_;
  std::deque<std::string> trace_;
  unsigned played_ = 0;

  // Of the step being played.
  Step step_;
  int answer_ = 0;
};

}  // namespace zv::testing
