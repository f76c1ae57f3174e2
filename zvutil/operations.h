// The operations of the utility library: each reads its paths from the journals of its name and
// does what they say on the account's server. True: done. Nothing throws; failures are told in the
// logs of the server client. Any thread; the journals belong to one call at a time.
#pragma once

#include <vector>

#include "webdav/directory_entry.h"
#include "zvutil/account_client.h"

namespace zv {

// "Source.txt": a folder. entries: ".", ".." and its members, the last one with the last-entry
// flag.
bool ListSyncFolder(const SyncLogin& login, std::vector<DirectoryEntry>* entries);
// "Download_src.txt": a file; "Download_dst.txt": the local folder, with a trailing backslash, that
// receives it under its own name. What was there under that name is replaced. The file's time goes
// into the cache's time file.
bool DownloadSyncFile(const SyncLogin& login);
// "Upload_src.txt": a local file; "Upload_dst.txt": the folder, with a trailing slash, that
// receives it under its own name. The local file is a copy made for this call; it is removed when
// it was stored.
bool UploadSyncFile(const SyncLogin& login);
// "createdir_dst.txt". A folder that is there already counts as made.
bool CreateSyncFolder(const SyncLogin& login);
// "Rename_src.txt", "Rename_dst.txt". Never replaces anything.
bool RenameSyncEntry(const SyncLogin& login);
// "Delete_src.txt". What is not there counts as deleted.
bool DeleteSyncEntry(const SyncLogin& login);

}  // namespace zv
