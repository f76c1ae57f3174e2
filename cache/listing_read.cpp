// Listings as they are read: whole, by index and by name.
#include "cache/cache.h"
#include "cache/entry_record.h"
#include "cache/listing_file.h"
#include "platform/error.h"
#include "platform/file.h"

namespace zv {
namespace {

// The last element; with a "/" when the path ends in one.
TextView WantedName(TextView path) {
  const TextView stem = WithoutTrailingSlash(path);
  const size_t begin = stem.size() - PathLeaf(stem).size();
  return path.substr(begin);
}

bool MatchesRecord(const DirectoryEntry& entry, TextView name, TextView wanted) {
  if (name == wanted) return true;
  return entry.directory_flag != 0 && wanted.ends_with(u'/') &&
         name == wanted.substr(0, wanted.size() - 1);
}

// Tells most lines apart from the wanted one before any number is read.
bool MayMatch(TextView name, TextView wanted) {
  return wanted.starts_with(name) && wanted.size() - name.size() <= 1;
}

}  // namespace

bool CCache::ParseFileListFromCache(TextView listing_file) {
  return Guarded(
      false, [&] { return ReadFileList(listing_file); },
      [&](const Failure&) {
        trace_log_.WriteTraceText(u"Exception while parsing file list from cache!");
      });
}

bool CCache::ReadFileList(TextView listing_file) {
  auto text = ReadListing(listing_file, Disposition::kOpenAlways);
  if (!text) {
    trace_log_.WriteTrace(u"Unable to open file %s for parsing cache details, Reason: %s",
                          listing_file, GetLastErrorText());
    return false;
  }
  RecordList list(*std::move(text));
  if (!list.held_lines()) return false;
  file_list_ = std::move(list);
  return true;
}

bool CCache::ParseSingleFromFile(TextView listing_file, int32_t index, DirectoryEntry* reply) {
  return Guarded(
      false,
      [&] {
        if (listing_file != file_list_source_ || index == 1) {
          file_list_source_.clear();
          if (!ParseFileListFromCache(listing_file)) return false;
          file_list_source_ = listing_file;
        }
        if (index < 1 || static_cast<size_t>(index) > file_list_.size()) return false;
        *reply = file_list_.At(static_cast<size_t>(index) - 1);
        reply->kind = static_cast<uint32_t>(index);
        reply->last_entry = 0;
        reply->SetModified(reply->last_write_time);
        return true;
      },
      LogKnownFailure(u"Exception while parsing single from file (index), %s"));
}

bool CCache::ParseSingleResource(TextView listing_file, TextView path, DirectoryEntry* entry) {
  return Guarded(
      false,
      [&] {
        const auto text = ReadListing(listing_file, Disposition::kOpenExisting);
        if (text) return FindRecord(*text, path, entry);
        trace_log_.WriteTrace(
            u"Unable to open file %s for reading single cache details (resource), Reason: %s",
            listing_file, GetLastErrorText());
        return false;
      },
      TraceFileFailure(u"%s", u"Exception while parsing single from file (resource), %s"));
}

bool CCache::FindRecord(TextView text, TextView path, DirectoryEntry* entry) {
  const TextView wanted = WantedName(path);
  TextView line;
  for (RecordLines lines(text); lines.Next(&line);) {
    TextView name;
    if (!RecordName(line, &name) || !MayMatch(name, wanted)) continue;
    DirectoryEntry found;
    if (!ParseRecord(line, &found) || !MatchesRecord(found, name, wanted)) continue;
    found.SetName(ReplaceAll(path, u'/', u'\\'));
    found.kind = kSingleEntryKind;
    found.last_entry = 1;
    *entry = found;
    return true;
  }
  return false;
}

bool CCache::GetCachedResourceDetails(TextView path, DirectoryEntry* entry) {
  return Guarded(
      false,
      [&] {
        const Text server_path = ReplaceAll(path, u'\\', u'/');
        const TextView stem = WithoutTrailingSlash(server_path);
        const TextView parent = stem.substr(0, stem.size() - PathLeaf(stem).size());
        const TextView folder = WithoutTrailingSlash(parent);
        const Text listing_file = names_.GetDirRecordName(folder);
        if (!FileExists(listing_file) && !CacheFolderContents(folder)) return false;
        return ParseSingleResource(listing_file, server_path, entry);
      },
      LogKnownFailure(u"Exception while getting cached resource details!"));
}

}  // namespace zv
