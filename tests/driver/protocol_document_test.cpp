// The protocol's document says what the protocol's header says.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "driver/protocol.h"

namespace zv::testing {
namespace {

using Row = std::vector<std::string>;

// The cells of every table row of the document.
std::vector<Row> TableRows() {
  std::ifstream document(ZV_PROTOCOL_DOCUMENT);
  std::vector<Row> rows;
  for (std::string line; std::getline(document, line);) {
    if (!line.starts_with("| ")) continue;
    Row cells;
    std::istringstream text(line.substr(1));
    for (std::string cell; std::getline(text, cell, '|');) {
      const size_t first = cell.find_first_not_of(' ');
      const size_t last = cell.find_last_not_of(' ');
      cells.push_back(first == std::string::npos ? "" : cell.substr(first, last - first + 1));
    }
    rows.push_back(cells);
  }
  return rows;
}

// The name in the backquotes that a cell begins with.
std::string NameIn(const std::string& cell) {
  return cell.starts_with('`') ? cell.substr(1, cell.find('`', 1) - 1) : "";
}

std::string RowText(const Row& row, size_t count) {
  std::string text;
  for (size_t i = 0; i < count && i < row.size(); ++i) text += row[i] + " ";
  return text;
}

TEST(ProtocolDocumentTest, ListsEveryControlCode) {
  const std::map<std::string, uint32_t> codes = {
      {"IOCTL_CREATE_DRIVE", IOCTL_CREATE_DRIVE},
      {"IOCTL_DELETE_DRIVE", IOCTL_DELETE_DRIVE},
      {"IOCTL_GET_INFO_REQUEST", IOCTL_GET_INFO_REQUEST},
      {"IOCTL_GET_TRANSFER_REQUEST", IOCTL_GET_TRANSFER_REQUEST},
      {"IOCTL_QUERY_INFO_REPLY", IOCTL_QUERY_INFO_REPLY},
      {"IOCTL_DIRECTORY_REPLY", IOCTL_DIRECTORY_REPLY},
      {"IOCTL_NAMESPACE_REPLY", IOCTL_NAMESPACE_REPLY},
      {"IOCTL_VOLUME_REPLY", IOCTL_VOLUME_REPLY},
      {"IOCTL_BACKUP_REPLY", IOCTL_BACKUP_REPLY},
      {"IOCTL_RESTORE_REPLY", IOCTL_RESTORE_REPLY},
      {"IOCTL_TRANSFER_STATUS_REPLY", IOCTL_TRANSFER_STATUS_REPLY},
  };
  std::map<std::string, uint32_t> listed;
  for (const Row& row : TableRows()) {
    const std::string name = NameIn(row[0]);
    if (name.starts_with("IOCTL_"))
      listed[name] = static_cast<uint32_t>(std::stoul(row[1], nullptr, 16));
  }
  EXPECT_EQ(listed, codes);
}

// "offset width field" of the records' fields, in the order of the document.
#define ZV_FIELD(Record, field)                                                                  \
  std::to_string(offsetof(Record, field)) + " " + std::to_string(sizeof(Record::field)) + " `" + \
      #field + "` "

TEST(ProtocolDocumentTest, ListsEveryField) {
  const std::vector<std::string> fields = {
      ZV_FIELD(RequestRecord, major),
      ZV_FIELD(RequestRecord, minor),
      ZV_FIELD(RequestRecord, length_or_index),
      ZV_FIELD(RequestRecord, reserved),
      ZV_FIELD(RequestRecord, reserved64),
      ZV_FIELD(RequestRecord, offset),
      ZV_FIELD(RequestRecord, path),
      ZV_FIELD(RequestRecord, second_path),
      ZV_FIELD(RequestRecord, process_name),
      ZV_FIELD(RequestRecord, force_store),
      ZV_FIELD(DirectoryEntry, directory_flag),
      ZV_FIELD(DirectoryEntry, name_length),
      ZV_FIELD(DirectoryEntry, attributes),
      ZV_FIELD(DirectoryEntry, kind),
      ZV_FIELD(DirectoryEntry, size),
      ZV_FIELD(DirectoryEntry, last_entry),
      ZV_FIELD(DirectoryEntry, creation_time),
      ZV_FIELD(DirectoryEntry, last_access_time),
      ZV_FIELD(DirectoryEntry, last_write_time),
      ZV_FIELD(DirectoryEntry, change_time),
      ZV_FIELD(DirectoryEntry, name),
      ZV_FIELD(TransferReply, length),
      ZV_FIELD(TransferReply, status),
      ZV_FIELD(TransferReply, buffer),
      ZV_FIELD(VolumeReply, status),
      ZV_FIELD(VolumeReply, quota_mib),
      ZV_FIELD(VolumeReply, used_mib),
  };
  std::vector<std::string> listed;
  for (const Row& row : TableRows()) {
    if (row.size() == 4 && row[2].starts_with('`')) listed.push_back(RowText(row, 3));
  }
  EXPECT_EQ(listed, fields);
}

#undef ZV_FIELD

TEST(ProtocolDocumentTest, ListsEveryRequest) {
  const std::map<std::string, uint32_t> majors = {
      {"kDirectory", static_cast<uint32_t>(MajorCode::kDirectory)},
      {"kQueryInfo", static_cast<uint32_t>(MajorCode::kQueryInfo)},
      {"kDelete", static_cast<uint32_t>(MajorCode::kDelete)},
      {"kRename", static_cast<uint32_t>(MajorCode::kRename)},
      {"kVolumeInfo", static_cast<uint32_t>(MajorCode::kVolumeInfo)},
      {"kRestore", static_cast<uint32_t>(MajorCode::kRestore)},
      {"kEndPolling", static_cast<uint32_t>(MajorCode::kEndPolling)},
  };
  const std::map<std::string, uint32_t> minors = {
      {"kZeroBackup", static_cast<uint32_t>(MinorCode::kZeroBackup)},
      {"kCreateDirectory", static_cast<uint32_t>(MinorCode::kCreateDirectory)},
      {"kCacheBackup", static_cast<uint32_t>(MinorCode::kCacheBackup)},
      {"kBackupComplete", static_cast<uint32_t>(MinorCode::kBackupComplete)},
      {"kReplaceOnRename", static_cast<uint32_t>(MinorCode::kReplaceOnRename)},
  };
  std::map<std::string, uint32_t> listed_majors;
  std::map<std::string, uint32_t> listed_minors;
  for (const Row& row : TableRows()) {
    if (row.size() != 5 || !row[3].starts_with("`k")) continue;
    auto& listed = row[2].empty() ? listed_majors : listed_minors;
    listed[NameIn(row[3])] =
        static_cast<uint32_t>(std::stoul(row[2].empty() ? row[1] : row[2], nullptr, 0));
  }
  EXPECT_EQ(listed_majors, majors);
  EXPECT_EQ(listed_minors, minors);
}

}  // namespace
}  // namespace zv::testing
