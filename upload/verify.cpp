#include "cache/time_file.h"
#include "upload/backup_dav.h"

namespace zv {

bool CBackupDAV::VerifyBkpFile(TextView resource_path, int64_t local_size) {
  return Guarded(
      false,
      [&] {
        debug_log_.WriteTraceText(u"Started making an Upload verify call");
        Text length;
        FileTime last_modified;
        if (!GetFileLength(resource_path, &length, &last_modified)) {
          debug_log_.WriteTraceText(u"Error calling SendDAVRequest for File Verification");
          length.clear();
        }
        // 32 bits of the server's figure count, so a file of 4 GiB or more never verifies.
        const auto remote = static_cast<uint32_t>(ParseInt64(length));
        const bool equal = remote == local_size;
        if (equal) {
          SetFileTimeEntry(CacheNames(), resource_path, last_modified);
          debug_log_.WriteTrace(
              u"Proper file sizes read in VerifyBackup \t\t\t\tfunction for file %s as local: %ld "
              u"and remote: %ld",
              resource_path, local_size, remote);
        }
        debug_log_.WriteTraceText(u"Finished making an Upload verify call");
        return equal;
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Exception in VerifyBkpFile, Reason: %s", failure.text);
      });
}

}  // namespace zv
