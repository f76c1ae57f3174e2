// Single records added to, replaced in and taken out of listings.
#include <cstring>

#include "cache/cache.h"
#include "cache/entry_record.h"
#include "cache/listing_file.h"
#include "platform/error.h"
#include "platform/file.h"

namespace zv {
namespace {

// As starts_with, which compares unit by unit.
bool BeginsWith(TextView text, TextView beginning) {
  return text.size() >= beginning.size() &&
         std::memcmp(text.data(), beginning.data(), beginning.size() * sizeof(char16_t)) == 0;
}

}  // namespace

std::optional<ListingChanged> CCache::EditListing(TextView listing_file,
                                                  const ListingChange& change) {
  const ListingLock lock;
  StaleUnlessStored stale(listing_file);
  File file = File::Open(listing_file, Access::kReadWrite, Disposition::kOpenAlways);
  if (file) {
    const Text text = FromUtf16LeBytes(file.ReadAll());
    ListingChanged changed = ApplyChange(text, change);
    if (StoreChanged(listing_file, std::move(file), text, changed.text)) {
      stale.Stored();
      ListingFetch::Note(listing_file, change);
      return changed;
    }
  }
  trace_log_.WriteTrace(u"Unable to open file %s for parsing cache details, Reason: %s",
                        listing_file, GetLastErrorText());
  return std::nullopt;
}

// file: the listing's, open for reading and writing.
bool CCache::StoreChanged(TextView listing_file, File file, TextView before, TextView after) {
  if (BeginsWith(after, before)) {
    const TextView records = after.substr(before.size());
    if (records.empty()) return true;
    return ExtendListing(names_, listing_file, std::move(file), before, records);
  }
  file.Close();  // not every system replaces a file that is open
  return ReplaceListing(names_, listing_file, after);
}

bool CCache::AppendRecord(TextView listing_file, TextView name, TextView record) {
  const ListingLock lock;
  StaleUnlessStored stale(listing_file);
  if (!AppendToListing(listing_file, record, Disposition::kOpenAlways)) return false;
  stale.Stored();
  ListingFetch::Note(listing_file, {.old_leaf = name, .new_leaf = {}, .appended = record});
  return true;
}

bool CCache::ParseDirContentsFromFile(TextView listing_file, TextView old_path, TextView new_path,
                                      bool* found) {
  return Guarded(
      false,
      [&] {
        const TextView old_name = PathLeaf(WithoutTrailingSlash(old_path));
        const TextView new_name = PathLeaf(WithoutTrailingSlash(new_path));
        const bool in_place = !new_path.empty() && FolderPart(WithoutTrailingSlash(old_path)) ==
                                                       FolderPart(WithoutTrailingSlash(new_path));
        ListingChange change{.old_leaf = old_name, .new_leaf = {}, .appended = {}};
        if (in_place) change.new_leaf = new_name;
        const auto edited = EditListing(listing_file, change);
        if (!edited) return false;
        if (edited->matched && !new_path.empty() && !in_place) {
          current_entry_ = CurrentEntry::Of(*edited->matched, new_name);
        }
        if (found) *found = edited->held_records;
        return edited->held_records;
      },
      TraceFileFailure(u"%s", u"Exception while parsing from file to cache dir contents!"));
}

bool CCache::UpdateCacheFileList(TextView path, const FindData& information) {
  return Guarded(
      false,
      [&] {
        const Text parent = PathParent(path);
        const TextView leaf = PathLeaf(path);
        const Text listing_file = names_.GetDirRecordName(parent);
        if (parent != u"/" && !FileExists(listing_file)) return false;

        const bool is_folder = (information.attributes & kAttributeDirectory) != 0;
        const uint64_t low = information.last_write_time[0];
        const uint64_t high = information.last_write_time[1];
        const int64_t seconds = ToSeconds(FileTime{high << 32 | low}).value;
        const Text record =
            FormatRecord(RecordFormat::kShortSize, {.name = leaf,
                                                    .directory_flag = is_folder ? 1 : 0,
                                                    .size = information.size_low,
                                                    .attributes = 0,
                                                    .creation_time = seconds,
                                                    .change_time = seconds});
        // Held until the folder's own listing stands: what a fetch stores is not cut to root lines.
        const ListingLock lock;
        if (!EditListing(listing_file, {.old_leaf = leaf, .new_leaf = {}, .appended = record})) {
          return false;
        }
        const Text own_listing = names_.GetDirRecordName(path);
        if (is_folder && IsAbsent(own_listing)) WriteRootLines(own_listing);
        return true;
      },
      TraceFileFailure(u"%s", u"Exception while updating cache file list!"));
}

CCache::CurrentEntry CCache::CurrentEntry::Of(const DirectoryEntry& listed, TextView name) {
  return {.directory_flag = static_cast<int32_t>(listed.directory_flag),
          .attributes = static_cast<int32_t>(listed.attributes),
          .size = listed.size,
          .creation_time = listed.creation_time,
          .change_time = listed.change_time,
          .name = Text(name)};
}

Text CCache::CurrentEntryRecord() const {
  return FormatRecord(RecordFormat::kAppended, {.name = current_entry_.name,
                                                .directory_flag = current_entry_.directory_flag,
                                                .size = current_entry_.size,
                                                .attributes = current_entry_.attributes,
                                                .creation_time = current_entry_.creation_time,
                                                .change_time = current_entry_.change_time});
}

bool CCache::AddFileEntryToCacheFile(TextView path) {
  // An entry that could not be added comes back with the next refresh, so this alone fails nothing.
  return Guarded(
      true,
      [&] {
        const Text listing_file = names_.GetDirRecordName(PathParent(path));
        if (AppendRecord(listing_file, current_entry_.name, CurrentEntryRecord())) return true;
        LogEntryNotAdded(listing_file);
        return false;
      },
      [&](const Failure&) { trace_log_.WriteTraceText(u"Exception in AddFileEntryToCacheFile!"); });
}

void CCache::LogEntryNotAdded(TextView listing_file) {
  trace_log_.WriteTrace(
      u"Unable to open file in AddFileEntryToCacheFile %s for writing cache details, Reason: %s",
      listing_file, GetLastErrorText());
}

}  // namespace zv
