// The model as programs see it on a mounted drive: each operation answers with its errno, in the
// order in which the kernel, libfuse and the drive look at things.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "tests/apps/drive_model.h"

namespace zv::testing {

enum class FolderKind {
  kLocal,      // a folder of a local disk: it shows that the model itself is right
  kDrive,      // the drive of an ordinary account
  kSyncDrive,  // the drive of a sync account
};

// Contents by path; nullopt for folders.
using ModelTree = std::map<Text, std::optional<std::string>>;

// Paths as on the drive; the root is the folder that is played in. Answers are 0 or an errno.
class PosixModel {
 public:
  explicit PosixModel(FolderKind kind) : kind_(kind) {}

  int Look(TextView path) const;
  // For writing.
  int OpenFile(TextView path) const;
  int List(TextView path) const;
  // The next three: of something that is there.
  bool IsFolder(TextView path) const { return path == kDriveRoot || tree_.IsFolder(path); }
  std::shared_ptr<ModelFile> File(TextView path) const { return tree_.File(path); }
  // Sizes by name; -1 for folders.
  std::map<Text, int64_t> Names(TextView folder) const;

  int MakeFile(TextView path);
  int MakeFolder(TextView path);
  int RemoveFile(TextView path);
  int RemoveFolder(TextView path);
  int Rename(TextView from, TextView to, bool replace);

  // A descriptor that stays open: while there is one, a file that is removed or replaced lives on.
  void Hold(const std::shared_ptr<ModelFile>& file) { ++copies_[file].holders; }
  void LetGo(const std::shared_ptr<ModelFile>& file);
  // The content was changed.
  void NoteWritten(const std::shared_ptr<ModelFile>& file) { copies_[file].is_written = true; }
  // A descriptor was closed or synchronised: what was written is sent.
  void NoteSent(const std::shared_ptr<ModelFile>& file);

  ModelTree Tree() const;
  ModelTree ServerTree() const;
  // A file that is removed while somebody holds it stays under a name that libfuse gives it.
  // Listings and trees leave it out.
  size_t hidden_count() const;
  static bool IsHiddenName(TextView leaf);

 private:
  // What the server has of a file.
  struct Copy {
    int holders = 0;
    bool is_written = false;  // since it was sent last
    bool is_kept = false;     // what was written last stays on this machine: its name is not sent
    std::optional<std::string> on_server;
  };

  bool IsDrive() const { return kind_ != FolderKind::kLocal; }
  bool Sends(TextView path) const;
  bool IsHeld(TextView path) const;
  int CheckNew(TextView path) const;
  // Whether nothing else has its name in the cache; what is beneath one of the other two does not
  // count.
  bool IsUnique(TextView path, TextView but, TextView nor) const;
  bool StayUnique(TextView from, TextView to) const;
  // Whether a file elsewhere that is held, or that the server does not have, has a name in the
  // cache as if it lay in the folder.
  bool HasBystanders(TextView folder) const;
  // Answers of the kernel, who does not even ask the drive.
  std::optional<int> KernelsAnswer(TextView from, TextView to, bool replace) const;
  void Move(TextView from, TextView to);
  void Hide(TextView path);
  Text PathOf(const std::shared_ptr<ModelFile>& file) const;

  const FolderKind kind_;
  DriveModel tree_;
  std::map<std::shared_ptr<ModelFile>, Copy> copies_;
  int hidden_so_far_ = 0;
};

}  // namespace zv::testing
