// Times of files that were sent from here.
#pragma once

#include <unordered_map>

#include "apps/zvdrive/drive/drive_requests.h"
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
  void Move(TextView from, TextView to);
  // A path and all beneath it.
  void Forget(TextView path);

 private:
  struct Sent {
    Seconds1601 first, last, server;
  };
  std::unordered_map<Text, Sent> sent_;
};

}  // namespace zv
