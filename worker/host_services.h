// What the host program in the worker's own process may ask beside the exports. Not exported by the
// library. Any thread; nothing throws. Drive paths: "\Docs\a.txt".
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "cache/pending_uploads.h"
#include "platform/text.h"

namespace zv {

// Files whose content the server does not have yet, oldest first; server paths. nullopt when the
// list is there and cannot be read.
std::optional<std::vector<PendingUpload>> ListPendingUploads();
// Whether the cache holds content of this file that the server does not have.
bool IsUploadPending(TextView drive_path);
// The same, without the files that are kept in the cache on purpose: sending failed, or is still to
// come.
bool IsUploadOverdue(TextView drive_path);
// Notes before a file's first block is written that its content is the only one. False when that
// cannot be noted.
bool MarkUploadPending(TextView drive_path);
// Takes that back.
void UnmarkUploadPending(TextView drive_path);

// Changes whenever the file's cached content does; 0 while the cache holds none.
uint64_t CachedContentVersion(TextView drive_path);
// The server's time of the cached content; zero while there is none.
FileTime CachedContentTime(TextView drive_path);

// The content file; empty while the cache holds no content of the file.
Text CachedContentFile(TextView drive_path);
// When that was last written, by this machine's clock; zero while the cache holds none.
FileTime CachedContentWritten(TextView drive_path);
// Removes the content file, and its time.
void DropCachedContent(TextView drive_path);

// Whether the cache's disk can take so many more bytes; true when it cannot be told.
bool CacheHasRoom(int64_t bytes);

// The user log's last line about a transfer of this name that failed or is tried again; empty when
// there is none. name: as the progress record has it.
Text LastTransferTrouble(TextView name);

// The file whose upload was refused and waits for its next attempt, as a server path; empty when
// there is none. Told from the user log and the list of files that are still to come: an upload
// that a crash cut off looks like one, until it is tried again.
Text UploadBetweenAttempts();

}  // namespace zv
