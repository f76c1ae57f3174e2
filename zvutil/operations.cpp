#include "zvutil/operations.h"

#include <optional>

#include "cache/cache_names.h"
#include "cache/time_file.h"
#include "config/guard.h"
#include "platform/file.h"
#include "webdav/http_status.h"
#include "zvutil/journal.h"
#include "zvutil/quota_file.h"

namespace zv {
namespace {

constexpr int kEmptyFileAttempts = 3;

// What was done stays done, whether its figure can be kept or not.
void KeepUsedQuota(std::optional<int64_t> used_bytes) {
  GuardedQuietly([&] {
    if (used_bytes) StoreSyncUsedQuota(*used_bytes);
  });
}

// The last element of a server or a local path.
Text LeafOf(TextView path) { return Text(path.substr(path.find_last_of(u"/\\") + 1)); }

bool IsFileName(TextView leaf) { return !leaf.empty() && leaf != u"." && leaf != u".."; }

// A file without content is one request without a body.
bool UploadEmptyFile(AccountClient& client, const Text& path) {
  TransferRequest request;
  request.path = path;
  for (int attempt = 0; attempt < kEmptyFileAttempts; ++attempt) {
    if (client.InitiateUpload(request) && client.EndUpload(request)) {
      client.VerifyBkpFile(path, 0);
      return true;
    }
  }
  return false;
}

bool Upload(AccountClient& client, const Text& local, const Text& path) {
  const auto found = FindPath(local);
  if (!found || found->is_folder) return false;
  if (found->size == 0) return UploadEmptyFile(client, path);
  return client.LocalFileTransfer(local, path) && client.last_transfer_stored();
}

}  // namespace

bool ListSyncFolder(const SyncLogin& login, std::vector<DirectoryEntry>* entries) {
  entries->clear();
  return GuardedQuietly(false, [&] {
    const auto folder = ReadJournal(u"Source.txt");
    if (!folder) return false;
    AccountClient client(login);
    DirectoryEntry* listed = nullptr;
    if (!client.GetDirectoryContents(*folder, &listed)) return false;
    DirectoryEntry* last = listed;
    while (last->last_entry != 1) ++last;
    entries->assign(listed, last + 1);
    KeepUsedQuota(client.ListedUsedBytes());
    return true;
  });
}

bool DownloadSyncFile(const SyncLogin& login) {
  return GuardedQuietly(false, [&] {
    const auto folder = ReadJournal(u"Download_dst.txt");
    const auto source = ReadJournalEntry(u"Download_src.txt");
    if (!folder || !source || source->is_folder) return false;
    const Text leaf = LeafOf(source->path);
    if (!IsFileName(leaf)) return false;
    const Text local = *folder + leaf;
    // A download goes on behind what stands there.
    if (!RemoveFile(local) && !IsAbsent(local)) return false;
    AccountClient client(login);
    FileTime last_modified;
    if (!client.RestoreFile(source->path, local, &last_modified)) {
      RemoveFile(local);
      return false;
    }
    if (last_modified != FileTime{}) {
      SetFileTimeEntry(CacheNames(), source->path, last_modified);
    }
    return true;
  });
}

bool UploadSyncFile(const SyncLogin& login) {
  return GuardedQuietly(false, [&] {
    const auto folder = ReadJournal(u"Upload_dst.txt");
    const auto source = ReadJournalEntry(u"Upload_src.txt");
    if (!folder || !source || source->is_folder) return false;
    const Text leaf = LeafOf(source->path);
    if (!IsFileName(leaf)) return false;
    AccountClient client(login);
    if (!Upload(client, source->path, *folder + leaf)) return false;
    RemoveFile(source->path);
    KeepUsedQuota(client.AskUsedBytes());
    return true;
  });
}

bool CreateSyncFolder(const SyncLogin& login) {
  return GuardedQuietly(false, [&] {
    const auto folder = ReadJournal(u"createdir_dst.txt");
    return folder && AccountClient(login).CreateDirectoryOnServer(*folder);
  });
}

bool RenameSyncEntry(const SyncLogin& login) {
  return GuardedQuietly(false, [&] {
    const auto source = ReadJournal(u"Rename_src.txt");
    const auto target = ReadJournal(u"Rename_dst.txt");
    return source && target && AccountClient(login).RenameResource(*source, *target);
  });
}

bool DeleteSyncEntry(const SyncLogin& login) {
  return GuardedQuietly(false, [&] {
    const auto entry = ReadJournalEntry(u"Delete_src.txt");
    if (!entry) return false;
    AccountClient client(login);
    const bool deleted =
        client.DeleteResource(entry->path) || client.status_code() == kStatusNotFound;
    if (deleted) KeepUsedQuota(client.AskUsedBytes());
    return deleted;
  });
}

}  // namespace zv
