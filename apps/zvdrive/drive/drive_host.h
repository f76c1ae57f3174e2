// What the drive asks of the host process beside its requests.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/clock.h"
#include "platform/text.h"

namespace zv {

// Any thread. Paths as on the drive ("\Docs\a.txt").
class DriveHost {
 public:
  virtual ~DriveHost() = default;

  // Compares a cached file with the server's and drops what is out of date.
  virtual void CheckLastModified(TextView path) = 0;
  // Changes whenever the cached content does; 0 while nothing is cached.
  virtual uint64_t ContentVersion(TextView path) = 0;
  // The server's time of the cached content; nullopt while none is cached, or its time not known.
  virtual std::optional<Seconds1601> ContentTime(TextView path) = 0;
  // Where the cached content lies; empty while none is.
  virtual Text ContentFile(TextView path) = 0;
  // Removes the cached content, so that the server's is fetched anew.
  virtual void DropContent(TextView path) = 0;
  // When the cached content was last written, by this machine's clock; zero while none is.
  virtual FileTime ContentWritten(TextView path) = 0;
  // Whether the disk beneath the cache can take so many more bytes; true when it cannot be told.
  virtual bool HasRoom(int64_t bytes) = 0;
  // Asks the transfer of this file to stop.
  virtual void CancelTransfer(TextView path) = 0;
  // Notes that the cache holds content of this file that the server does not have. False when that
  // cannot be noted.
  virtual bool MarkUnsent(TextView path) = 0;
  // Takes that back: the content is the server's after all.
  virtual void MarkSent(TextView path) = 0;
  // Whether the cache holds content of this file that the server does not have.
  virtual bool IsUnsent(TextView path) = 0;
  // The same, files that are kept here on purpose left out.
  virtual bool IsOverdue(TextView path) = 0;
  // A folder was listed: the account's used space is known anew.
  virtual void NoteListing() = 0;
  // Whether the program that waits for the running operation wants it to stop.
  virtual bool IsInterrupted() = 0;
};

}  // namespace zv
