#include "platform/posix/native_path.h"

#include <sys/stat.h>

#include <cerrno>

#include "platform/error.h"
#include "platform/home.h"
#include "platform/posix/folder_index.h"
#include "platform/posix/long_name.h"
#include "platform/shared/path.h"
#include "platform/shared/stored_name.h"

namespace zv {
namespace {

bool IsSurrogate(char16_t unit) { return (unit & 0xF800) == 0xD800; }

bool PairsWithNext(TextView name, size_t i) {
  return (name[i] & 0xFC00) == 0xD800 && i + 1 < name.size() && (name[i + 1] & 0xFC00) == 0xDC00;
}

// False with errno.
bool Exists(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0;
}

bool Refuse() {
  SetLastError(EINVAL);
  return false;
}

// Nearly every name is ASCII, and every path that is opened has many names.
void AppendName(TextView name, std::string* path) {
  const size_t begin = path->size();
  for (const char16_t unit : name) {
    if (unit >= 0x80) {
      path->resize(begin);
      *path += EncodeFileName(name);
      return;
    }
    path->push_back(static_cast<char>(unit));
  }
}

bool AppendElement(TextView element, NativePath* out) {
  if (element == u".") return true;
  if (element == u"..") {
    if (!out->is_root()) out->path.resize(out->path.rfind('/'));
    out->long_name.clear();
    return true;
  }
  if (element.find(u'\0') != TextView::npos) return Refuse();
  out->path += '/';
  const size_t begin = out->path.size();
  AppendName(element, &out->path);
  out->long_name.clear();
  if (out->path.size() - begin > kMaxNameBytes) {
    out->path.resize(begin);
    out->path += EncodeFileName(StoredNameOf(element));
    out->long_name = element;
  }
  return true;
}

Elsewhere LookElsewhereUnder(std::string_view path, size_t root_size);

// nullopt with errno.
std::optional<std::string> FindUnder(const std::string& path, size_t root_size) {
  if (Exists(path)) return path;
  if (!MeansAbsent(errno)) return std::nullopt;
  Elsewhere elsewhere = LookElsewhereUnder(path, root_size);
  errno = elsewhere.error;
  return std::move(elsewhere.found);
}

Elsewhere LookElsewhereUnder(std::string_view path, size_t root_size) {
  Elsewhere elsewhere{.found = {}, .place = {}, .error = ENOENT};
  if (path.size() <= root_size) return elsewhere;
  auto folder = FindUnder(std::string(FolderOf(path)), root_size);
  const auto name = folder ? FindNameNoCase(*folder, NameOf(path)) : std::nullopt;
  if (!name && !MeansAbsent(errno)) elsewhere.error = errno;
  if (!folder || elsewhere.error != ENOENT) return elsewhere;
  if (name) elsewhere.found = *folder + "/" + *name;
  elsewhere.place = (*std::move(folder)).append("/").append(NameOf(path));
  return elsewhere;
}

}  // namespace

std::string EncodeFileName(TextView name) {
  std::string out;
  size_t begin = 0;
  for (size_t i = 0; i < name.size(); ++i) {
    if (!IsSurrogate(name[i])) continue;
    if (PairsWithNext(name, i)) {
      ++i;
      continue;
    }
    out += ToUtf8(name.substr(begin, i - begin));
    out += static_cast<char>(0xE0 | (name[i] >> 12));
    out += static_cast<char>(0x80 | ((name[i] >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (name[i] & 0x3F));
    begin = i + 1;
  }
  if (begin == 0) return ToUtf8(name);
  return out + ToUtf8(name.substr(begin));
}

Text DecodeFileName(std::string_view bytes) {
  Text out;
  size_t begin = 0;
  for (size_t i = bytes.find('\xED'); i != std::string_view::npos; i = bytes.find('\xED', i + 1)) {
    if (i + 2 >= bytes.size()) break;
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    const auto third = static_cast<unsigned char>(bytes[i + 2]);
    if (second < 0xA0 || second > 0xBF || (third & 0xC0) != 0x80) continue;
    out += FromUtf8(bytes.substr(begin, i - begin));
    out += static_cast<char16_t>(0xD000 | ((second & 0x3F) << 6) | (third & 0x3F));
    begin = i + 3;
  }
  return out + FromUtf8(bytes.substr(begin));
}

std::optional<NativePath> ToNativePath(TextView path) {
  constexpr std::string_view kDrives = "/drives/";
  DrivePath parts = SplitDrive(path);
  NativePath out;
  const std::string home = HomeFolder();
  out.path.reserve(home.size() + kDrives.size() + 1 + path.size());
  out.path.append(home).append(kDrives) += static_cast<char>(parts.drive);
  out.root_size = out.path.size();
  for (TextView element = TakePathElement(&parts.rest); !element.empty();
       element = TakePathElement(&parts.rest)) {
    if (!AppendElement(element, &out)) return std::nullopt;
  }
  return out;
}

bool MeansAbsent(int error) { return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG; }

std::optional<std::string> FindOnDisk(const NativePath& path) {
  return FindUnder(path.path, path.root_size);
}

Elsewhere LookElsewhere(const NativePath& path) {
  return LookElsewhereUnder(path.path, path.root_size);
}

std::optional<std::string> PlaceForNew(const NativePath& path) {
  const std::string root = path.root();
  if (!Exists(root)) {
    ::mkdir(std::string(FolderOf(root)).c_str(), 0700);
    ::mkdir(root.c_str(), 0700);
  }
  if (path.is_root()) return root;
  const auto folder = FindUnder(std::string(FolderOf(path.path)), path.root_size);
  if (!folder) {
    SetLastError(static_cast<uint32_t>(errno));
    return std::nullopt;
  }
  return *folder + "/" + std::string(NameOf(path.path));
}

std::string_view FolderOf(std::string_view path) { return path.substr(0, path.rfind('/')); }
std::string_view NameOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }

}  // namespace zv
