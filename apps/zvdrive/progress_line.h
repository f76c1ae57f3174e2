// The current transfer in words, as a bar, and for programs.
#pragma once

#include <cstdint>
#include <string>

namespace zv {

struct TransferState {
  bool is_active = false;
  bool is_upload = false;
  std::string name;    // UTF-8
  uint64_t done = 0;   // bytes
  uint64_t total = 0;  // bytes
  uint32_t elapsed_seconds = 0;
  std::string trouble;  // why it was interrupted last; empty when it was not
};

// 0 to 100; 100 for an empty file.
int PercentOf(const TransferState& state);
// Bytes a second; 0 in the first second.
uint64_t RateOf(const TransferState& state);
// Seconds; -1 while it cannot be told.
int64_t SecondsLeft(const TransferState& state);

// "1.4 MiB"
std::string FormatBytes(uint64_t bytes);
// One line for people, without its end.
std::string ProgressLine(const TransferState& state);
// The same with a bar, fit for a terminal of `width` columns. Where the reason of the last
// interruption leaves no room for them, first the bar and then all figures but the percents go.
std::string ProgressBar(const TransferState& state, int width);
std::string ProgressJson(const TransferState& state);

}  // namespace zv
