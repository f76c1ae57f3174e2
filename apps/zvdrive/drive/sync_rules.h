// What a sync account's drive does otherwise. Its worker hands a change to the sync account's
// utility library when the shell asks for it, and otherwise only makes it in the cache; it tells
// folders to delete by a trailing separator; and it never sends files of some names. On an ordinary
// account everything is passed as it is.
#pragma once

#include "platform/text.h"

namespace zv {

class SyncRules {
 public:
  explicit SyncRules(bool is_sync) : is_sync_(is_sync) {}

  bool is_sync() const { return is_sync_; }
  // Whether a file of this name goes to the server when it is complete. Names without an extension,
  // of temporary files ("a.tmp") and of office lock files ("~$a.docx") stay in the cache.
  bool SendsFile(TextView path) const;
  // The process that a change is asked for, so that the server learns of it, or does not.
  Text TellingProcess(TextView process) const;
  Text QuietProcess(TextView process) const;
  // A new, empty file: told when files of its name are sent.
  Text EmptyFileProcess(TextView path, TextView process) const;
  Text DeletedPath(TextView path, bool is_folder) const;

 private:
  bool is_sync_;
};

}  // namespace zv
