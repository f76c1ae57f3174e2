#include "cache/pending_uploads.h"

#include <algorithm>
#include <iterator>
#include <mutex>

#include "cache/work_file.h"
#include "config/file_names.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/format.h"

namespace zv {
namespace {

// One line for each path: kind, tab, seconds, tab, path, tab, reason, CR LF; UTF-16LE.
constexpr char16_t kFieldEnd = u'\t';
constexpr TextView kLineEnd = u"\r\n";

// What would end a field or a line, or looks like the beginning of such a text.
struct EscapedUnit {
  char16_t unit;
  TextView text;
};
constexpr EscapedUnit kEscaped[] = {
    {u'%', u"%25"}, {u'\t', u"%09"}, {u'\r', u"%0D"}, {u'\n', u"%0A"}};

std::mutex& ListMutex() {
  static std::mutex mutex;
  return mutex;
}

Text Escape(TextView text) {
  Text out;
  for (const char16_t unit : text) {
    const auto* escaped = std::ranges::find(kEscaped, unit, &EscapedUnit::unit);
    if (escaped == std::end(kEscaped)) {
      out += unit;
    } else {
      out += escaped->text;
    }
  }
  return out;
}

Text Unescape(TextView text) {
  Text out;
  while (true) {
    const size_t percent = std::min(text.find(u'%'), text.size());
    out += text.substr(0, percent);
    text.remove_prefix(percent);
    if (text.empty()) return out;
    const auto* escaped = std::ranges::find_if(
        kEscaped, [text](const EscapedUnit& each) { return text.starts_with(each.text); });
    const bool known = escaped != std::end(kEscaped);
    out += known ? escaped->unit : text.front();
    text.remove_prefix(known ? escaped->text.size() : 1);
  }
}

TextView TakeUntil(TextView* rest, TextView end_mark) {
  const size_t end = std::min(rest->find(end_mark), rest->size());
  const TextView part = rest->substr(0, end);
  rest->remove_prefix(std::min(end + end_mark.size(), rest->size()));
  return part;
}

// Without a path when it was cut off within one, which may look like another file's.
PendingUpload ParseLine(TextView line) {
  constexpr int kFieldEnds = 3;
  const TextView end_mark(&kFieldEnd, 1);
  PendingUpload upload;
  if (std::ranges::count(line, kFieldEnd) < kFieldEnds) return upload;
  const int32_t kind = ParseInt32(TakeUntil(&line, end_mark));
  for (const PendingKind known :
       {PendingKind::kEmpty, PendingKind::kCacheOnly, PendingKind::kBeingWritten}) {
    if (kind == static_cast<int32_t>(known)) upload.kind = known;
  }
  upload.since = {ParseInt64(TakeUntil(&line, end_mark))};
  upload.path = Unescape(TakeUntil(&line, end_mark));
  upload.reason = Unescape(line);
  return upload;
}

Text FormatLine(const PendingUpload& upload) {
  return Format(u"%d\t%I64d\t%s\t%s%s", static_cast<int32_t>(upload.kind), upload.since.value,
                Escape(upload.path), Escape(upload.reason), kLineEnd);
}

std::vector<PendingUpload> ParseList(TextView text) {
  std::vector<PendingUpload> list;
  while (!text.empty()) {
    PendingUpload upload = ParseLine(TakeUntil(&text, kLineEnd));
    if (!upload.path.empty()) list.push_back(std::move(upload));
  }
  return list;
}

Text ReadText(File& file) { return file ? FromUtf16LeBytes(file.ReadAll()) : Text(); }

enum class Changed { kNothing, kAdded, kLines };  // kAdded: one at the end, nothing else
Changed LinesIf(bool changed) { return changed ? Changed::kLines : Changed::kNothing; }

// What is kept here for its name alone waits to be sent under a name that is sent.
PendingUpload AfterRename(const CacheNames& names, const PendingUpload& upload, TextView old_top,
                          TextView new_top) {
  PendingUpload renamed = upload;
  renamed.path = Text(new_top) + upload.path.substr(old_top.size());
  if (upload.kind != PendingKind::kCacheOnly) return renamed;
  if (ClassifyFileName(PathLeaf(renamed.path)) != kOrdinaryName) return renamed;
  const bool is_empty = IsAbsent(names.GetFileRecordName(upload.path)) &&
                        IsAbsent(names.GetFileRecordName(renamed.path));
  renamed.kind = is_empty ? PendingKind::kEmpty : PendingKind::kContent;
  return renamed;
}

}  // namespace

Text PendingUploads::FileName() const { return names_.work_folder() + u"pending.txt"; }

File PendingUploads::Open(Access access) const {
  File file = File::Open(FileName(), access, Disposition::kOpenExisting);
  if (file) return file;
  const uint32_t code = LastError();
  if (code != kErrorFileNotFound && code != kErrorPathNotFound) ThrowLastError(ErrorKind::kFile);
  return file;
}

// An empty file stays: the next upload needs it again, and files that come and go are dear.
bool PendingUploads::Write(File file, const std::vector<PendingUpload>& list) const {
  if (list.empty()) {
    if (file) file.SetSize(0);
    return true;
  }
  file.Close();  // not every system replaces a file that is open
  Text text;
  for (const PendingUpload& upload : list) text += FormatLine(upload);
  return ReplaceFileWhole(names_, FileName(), ToUtf16LeBytes(text));
}

bool PendingUploads::Append(File file, const PendingUpload& upload) const {
  if (!file) file = File::Open(FileName(), Access::kReadWrite, Disposition::kOpenAlways);
  if (!file && MakeFolders(names_.work_folder())) {
    file = File::Open(FileName(), Access::kReadWrite, Disposition::kOpenAlways);
  }
  if (!file) return false;
  file.Append(ToUtf16LeBytes(FormatLine(upload)));
  file.CloseWritten();
  return true;
}

// change: takes the list; what of it is to be written then.
template <typename Change>
bool PendingUploads::Update(Change&& change) noexcept {
  try {
    const std::lock_guard lock(ListMutex());
    File file = Open(Access::kReadWrite);
    const Text text = ReadText(file);
    std::vector<PendingUpload> list = ParseList(text);
    const Changed changed = change(list);
    if (changed == Changed::kNothing) return true;
    const bool ends_whole = text.empty() || text.ends_with(kLineEnd);
    return changed == Changed::kAdded && ends_whole ? Append(std::move(file), list.back())
                                                    : Write(std::move(file), list);
  } catch (const Error& error) {
    SetLastError(error.code());
  } catch (const std::bad_alloc&) {
    SetLastError(0);
  }
  return false;
}

std::vector<PendingUpload> PendingUploads::List() const {
  const std::lock_guard lock(ListMutex());
  File file = Open(Access::kRead);
  return ParseList(ReadText(file));
}

std::optional<PendingUpload> PendingUploads::Find(TextView path) const {
  for (PendingUpload& upload : List()) {
    if (upload.path == path) return std::move(upload);
  }
  return std::nullopt;
}

bool PendingUploads::Contains(TextView path) const noexcept {
  try {
    return Find(path).has_value();
  } catch (...) {
    return true;
  }
}

bool PendingUploads::ContainsTree(TextView path) const {
  const std::vector<PendingUpload> list = List();
  return std::any_of(list.begin(), list.end(),
                     [&](const PendingUpload& each) { return IsAtOrBeneath(each.path, path); });
}

bool PendingUploads::Add(TextView path, PendingKind kind, TextView reason) {
  return Update([&](std::vector<PendingUpload>& list) {
    const auto known = std::find_if(
        list.begin(), list.end(), [&](const PendingUpload& upload) { return upload.path == path; });
    if (known == list.end()) {
      list.push_back({Text(path), kind, ToSeconds(SystemTime()), Text(reason)});
      return Changed::kAdded;
    }
    if (known->kind == kind && known->reason == reason) return Changed::kNothing;
    known->kind = kind;
    known->reason = reason;
    return Changed::kLines;
  });
}

bool PendingUploads::Remove(TextView path) {
  return Update([&](std::vector<PendingUpload>& list) {
    return LinesIf(
        std::erase_if(list, [&](const PendingUpload& each) { return each.path == path; }) > 0);
  });
}

bool PendingUploads::RemoveUnfinished() {
  return Update([&](std::vector<PendingUpload>& list) {
    return LinesIf(std::erase_if(list, [](const PendingUpload& each) {
                     return each.kind == PendingKind::kBeingWritten;
                   }) > 0);
  });
}

bool PendingUploads::RemoveTree(TextView path, TextView except) {
  return Update([&](std::vector<PendingUpload>& list) {
    return LinesIf(std::erase_if(list, [&](const PendingUpload& each) {
                     return IsAtOrBeneath(each.path, path) &&
                            (except.empty() || !IsAtOrBeneath(each.path, except));
                   }) > 0);
  });
}

// Whether a content file stands under the path that is not also the other path's. Throws where
// that cannot be told.
bool PendingUploads::HasOwnContent(TextView path, TextView other_path) const {
  const Text content = names_.GetFileRecordName(path);
  if (EqualsNoCase(content, names_.GetFileRecordName(other_path))) return false;
  if (IsAbsent(content)) return false;
  if (!FileExists(content)) ThrowLastError(ErrorKind::kFile);
  return true;
}

bool PendingUploads::AddRenamed(TextView old_path, TextView new_path) {
  if (old_path == new_path) return true;
  return Update([&](std::vector<PendingUpload>& list) {
    std::vector<PendingUpload> added;
    for (const PendingUpload& each : list) {
      // An empty file has no content that could be lost on its way.
      if (each.kind == PendingKind::kEmpty || !IsAtOrBeneath(each.path, old_path)) continue;
      PendingUpload renamed = AfterRename(names_, each, old_path, new_path);
      if (!HasOwnContent(renamed.path, each.path)) added.push_back(std::move(renamed));
    }
    std::erase_if(list, [&](const PendingUpload& each) {
      return std::any_of(added.begin(), added.end(),
                         [&](const PendingUpload& renamed) { return renamed.path == each.path; });
    });
    list.insert(list.end(), added.begin(), added.end());
    return LinesIf(!added.empty());
  });
}

bool PendingUploads::Rename(TextView old_path, TextView new_path) {
  if (old_path == new_path) return true;
  return Update([&](std::vector<PendingUpload>& list) {
    bool changed =
        std::erase_if(list, [&](const PendingUpload& each) {
          return IsAtOrBeneath(each.path, new_path) && !IsAtOrBeneath(each.path, old_path);
        }) > 0;
    for (PendingUpload& each : list) {
      if (!IsAtOrBeneath(each.path, old_path)) continue;
      PendingUpload renamed = AfterRename(names_, each, old_path, new_path);
      if (each.kind != PendingKind::kEmpty && HasOwnContent(each.path, renamed.path)) continue;
      each = std::move(renamed);
      changed = true;
    }
    return LinesIf(changed);
  });
}

}  // namespace zv
