#include "zvutil/quota_file.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "config/folders.h"
#include "platform/file.h"
#include "platform/format.h"

namespace zv {
namespace {

constexpr std::string_view kUtf16Mark = "\xFF\xFE";

std::vector<Text> LinesOf(TextView text) {
  std::vector<Text> lines;
  while (!text.empty()) {
    const size_t feed = text.find(u'\n');
    const TextView line = text.substr(0, feed == TextView::npos ? feed : feed + 1);
    text.remove_prefix(line.size());
    lines.emplace_back(line);
    if (!line.ends_with(u'\n')) lines.back() += u"\r\n";
  }
  return lines;
}

bool IsSectionLine(TextView line) { return Trim(line).starts_with(u'['); }

bool IsLineOfSection(TextView line, TextView section) {
  return EqualsNoCase(Trim(line), Format(u"[%s]", section));
}

bool IsKeyLine(TextView line, TextView key) {
  const size_t equals = line.find(u'=');
  return equals != TextView::npos && EqualsNoCase(Trim(line.substr(0, equals)), key);
}

// 8-bit bytes go through unit by unit, so that whatever they mean comes back as it was.
Text TextOf(std::string_view bytes, bool wide) {
  if (wide) return FromUtf16LeBytes(bytes.substr(kUtf16Mark.size()));
  Text text;
  for (const char byte : bytes) text += static_cast<unsigned char>(byte);
  return text;
}

std::string BytesOf(TextView text, bool wide) {
  if (wide) return std::string(kUtf16Mark) + ToUtf16LeBytes(text);
  std::string bytes;
  for (const char16_t unit : text) bytes += static_cast<char>(unit);
  return bytes;
}

// Empty when there is none; nullopt when it cannot be opened: what else stands there is others'.
std::optional<std::string> ReadWhole(TextView path) {
  File file = File::Open(path, Access::kRead, Disposition::kOpenExisting);
  if (file) return file.ReadAll();
  return IsAbsent(path) ? std::optional<std::string>(std::in_place) : std::nullopt;
}

bool ReplaceWhole(const Text& path, std::string_view bytes) {
  const Text partial = path + u".new";
  File file = File::Open(partial, Access::kWrite, Disposition::kCreateAlways);
  if (!file) return false;
  try {
    file.Write(bytes);
    file.CloseWritten();
  } catch (...) {
    file.Close();
    RemoveFile(partial);
    throw;
  }
  return MoveOver(partial, path);
}

}  // namespace

Text WithProfileEntry(TextView file_text, TextView section, TextView key, TextView value) {
  std::vector<Text> lines = LinesOf(file_text);
  auto begin = std::find_if(lines.begin(), lines.end(),
                            [&](TextView line) { return IsLineOfSection(line, section); });
  if (begin == lines.end()) {
    lines.push_back(Format(u"[%s]\r\n", section));
    begin = lines.end() - 1;
  }
  const auto end = std::find_if(begin + 1, lines.end(), IsSectionLine);
  const auto entry =
      std::find_if(begin + 1, end, [&](TextView line) { return IsKeyLine(line, key); });
  const Text wanted = Format(u"%s=%s\r\n", key, value);
  if (entry != end) {
    *entry = wanted;
  } else {
    auto place = end;
    while (Trim(*(place - 1)).empty()) --place;
    lines.insert(place, wanted);
  }
  return std::accumulate(lines.begin(), lines.end(), Text());
}

bool StoreSyncUsedQuota(int64_t used_bytes) {
  const Text path = GetSyncQuotaFile();
  const auto bytes = ReadWhole(path);
  if (!bytes) return false;
  const bool wide = bytes->starts_with(kUtf16Mark);
  const Text entry = Format(u"%I64d", used_bytes);
  const Text changed =
      WithProfileEntry(TextOf(*bytes, wide), kSyncQuotaSection, kSyncUsedQuotaEntry, entry);
  const std::string wanted = BytesOf(changed, wide);
  if (wanted == *bytes) return true;
  return MakeFolders(path.substr(0, path.rfind(u'\\'))) && ReplaceWhole(path, wanted);
}

}  // namespace zv
