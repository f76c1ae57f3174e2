// Operations on one file or folder of the account: make, delete, rename, look up.
#include <algorithm>

#include "config/settings.h"
#include "webdav/dates.h"
#include "webdav/http_status.h"
#include "webdav/scoped_request.h"
#include "webdav/webdav.h"

namespace zv {
namespace {

// Of any spelling, or a path that leads out of it: servers resolve "." and "..", encoded or not,
// and the account's root is never deleted.
bool IsRoot(TextView path) {
  int depth = 0;
  while (!path.empty()) {
    const size_t end = std::min(path.find_first_of(u"/\\"), path.size());
    const TextView name = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    if (name == u"..") {
      if (--depth < 0) return true;
    } else if (!name.empty() && name != u".") {
      ++depth;
    }
  }
  return depth == 0;
}

}  // namespace

bool CWebDAV::CreateDirectoryOnServer(TextView path) {
  return Guarded(
      false,
      [&] {
        const ScopedRequest scope(*this);
        if (!SendDAVRequest(u"MKCOL", account_root_ + Text(path))) {
          user_log_.WriteLog(LogLevel::kError, u"Unable to create directory %s. Reason: %s", path,
                             GetErrorMessage());
          return false;
        }
        // 405: the folder is there already.
        if (status_code_ == kStatusCreated || status_code_ == kStatusMethodNotAllowed) {
          user_log_.WriteLog(LogLevel::kInformation, u"A directory has been created for %s.", path);
          return true;
        }
        user_log_.WriteLog(LogLevel::kError, u"Unable to create directory %s. Reason: %s (%d)",
                           path, GetErrorMessage(), status_code_);
        debug_log_.WriteTrace(u"Error calling MKCOL on %s. Reason: %s", path, GetErrorMessage());
        return false;
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Exception in create directory, Reason: %s", failure.text);
      });
}

CWebDAV::DeleteReply CWebDAV::SendDelete(TextView path) {
  const Text target = account_root_ + Text(path);
  DeleteReply reply;
  for (int attempt = 0; attempt < 2; ++attempt) {
    reply.sent = SendDAVRequest(u"DELETE", target);
    reply.status = reply.sent ? status_code_ : 0;
    if (reply.status != kStatusServerError) break;
  }
  return reply;
}

bool CWebDAV::DeleteResource(TextView path) {
  return Guarded(
      false,
      [&] {
        if (IsRoot(path)) {
          debug_log_.WriteTraceText(u"We cannot delete root");
          return false;
        }
        const ScopedRequest scope(*this);
        const DeleteReply reply = SendDelete(path);
        if (!reply.sent) {
          debug_log_.WriteTraceText(u"Error calling SendDAVRequest for DELETE.");
          user_log_.WriteLog(LogLevel::kError, u"Unable to delete resource %s. Reason: %s", path,
                             GetErrorMessage());
        }
        if (reply.status == kStatusNoContent) {
          user_log_.WriteLog(LogLevel::kInformation, u"%s has been deleted.", path);
          return true;
        }
        // A server that fails twice may have deleted it all the same: nothing is said.
        if (reply.status == kStatusServerError) return true;
        user_log_.WriteLog(LogLevel::kError, u"Unable to delete resource %s. Reason: %s (%d)", path,
                           GetErrorMessage(), reply.status);
        debug_log_.WriteTrace(u"Error deleting resource %s. Reason: %s", path, GetErrorMessage());
        return false;
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Exception in DeleteResource, Reason: %s", failure.text);
      });
}

bool CWebDAV::DeleteServerFile(TextView path) {
  return Guarded(
      false,
      [&] {
        if (IsRoot(path)) return false;
        const ScopedRequest scope(*this);
        const DeleteReply reply = SendDelete(path);
        return reply.status == kStatusNoContent || reply.status == kStatusServerError;
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Exception in DeleteResource, Reason: %s", failure.text);
      });
}

bool CWebDAV::RenameResource(TextView old_path, TextView new_path) {
  return Guarded(
      false,
      [&] {
        const ScopedRequest scope(*this);
        const Text target = ReplaceAll(new_path, u'\\', u'/');
        AddRequestHeaders(DestinationHeaders(target), false);
        if (!SendDAVRequest(u"MOVE", account_root_ + Text(old_path))) {
          debug_log_.WriteTraceText(u"Error calling SendDAVRequest for MOVE");
          user_log_.WriteLog(LogLevel::kError, u"Unable to rename resource %s. Reason: %s",
                             old_path, GetErrorMessage());
          return false;
        }
        if (IsCreatedOrReplaced(status_code_)) {
          user_log_.WriteLog(LogLevel::kInformation, u"The %s has been renamed to %s.", old_path,
                             target);
          return true;
        }
        // 412: the target exists, which is the caller's to report.
        if (status_code_ != kStatusPreconditionFailed) {
          user_log_.WriteLog(LogLevel::kError, u"Unable to rename resource %s. Reason: %s (%d)",
                             old_path, GetErrorMessage(), status_code_);
        }
        debug_log_.WriteTrace(u"Error renaming resource %s to %s. Reason: %s", old_path, target,
                              GetErrorMessage());
        return false;
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Exception in RenameResource, Reason: %s", failure.text);
      });
}

// The scheme follows the account type and the relay, not the SSL setting: servers expect it so.
Text CWebDAV::DestinationHeaders(TextView new_path) {
  const bool secure = ReadAccountType() == kSyncAccount || settings_.use_compression;
  return Format(secure ? u"Overwrite:F\nDestination:https://%s%s\n"
                       : u"Overwrite:F\nDestination:http://%s%s\n",
                settings_.server_host, EncodeTarget(account_root_ + Text(new_path)));
}

bool CWebDAV::GetFileLength(TextView path, Text* length, FileTime* last_modified) {
  return Guarded(
      false,
      [&] {
        const ScopedRequest scope(*this);
        const Text resource = ReplaceAll(path, u'\\', u'/');
        if (!SendDAVRequest(u"GET", account_root_ + resource)) {
          debug_log_.WriteTraceText(u"Error calling SendDAVRequest for GET");
          user_log_.WriteLog(LogLevel::kError, u"Unable to get file length of %s. Reason: %s",
                             resource, GetErrorMessage());
          return false;
        }
        if (status_code_ != kStatusOk) {
          user_log_.WriteLog(LogLevel::kError, u"Unable to get file length of %s. Reason: %s (%d)",
                             resource, GetErrorMessage(), status_code_);
          debug_log_.WriteTrace(u"Error getting file length of %s. Reason: %s", resource,
                                GetErrorMessage());
          return false;
        }
        *length = request_->Header(u"Content-Length").value_or(Text());
        *last_modified = ReplyLastModified();
        return true;
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Exception in getting file length, Reason: %s", failure.text);
      });
}

bool CWebDAV::IsFileOnServer(TextView path, Text* length) {
  return Guarded(
      false,
      [&] {
        const ScopedRequest scope(*this);
        if (!SendDAVRequest(u"GET", account_root_ + Text(path)) || status_code_ != kStatusOk) {
          return false;
        }
        *length = request_->Header(u"Content-Length").value_or(Text());
        return true;
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Exception in getting file length, Reason: %s", failure.text);
      });
}

}  // namespace zv
