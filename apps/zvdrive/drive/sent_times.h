// Times of files that were sent from here.
#pragma once

#include "apps/zvdrive/drive/drive_requests.h"
#include "apps/zvdrive/drive/text_map.h"
#include "platform/clock.h"
#include "platform/text.h"

namespace zv {

// Until a folder is listed anew the worker tells this machine's time of the sending for a file, and
// the server's from then on: a program that remembers a file's time would take that for a change.
// Not thread-safe: the drive calls it under its own lock.
class SentTimes {
 public:
  // The worker noted a time from first to last, the server its own.
  void Note(TextView path, Seconds1601 first, Seconds1601 last, Seconds1601 server);
  // What the worker told of an entry, with the server's time.
  void Correct(TextView path, NodeInfo& info);
  // For want of memory the times are forgotten.
  void Move(TextView from, TextView to) noexcept;
  // A path and all beneath it.
  void Forget(TextView path) noexcept;

 private:
  struct Sent {
    Seconds1601 first, last, server;
  };
  TextMap<Sent> sent_;
};

}  // namespace zv
