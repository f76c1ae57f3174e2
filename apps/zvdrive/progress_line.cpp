#include "apps/zvdrive/progress_line.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "apps/zvdrive/output_text.h"

namespace zv {
namespace {

std::string FormatDuration(int64_t seconds) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%lld:%02lld", static_cast<long long>(seconds / 60),
                static_cast<long long>(seconds % 60));
  return text.data();
}

std::string Figures(const TransferState& state) {
  std::string text = std::to_string(PercentOf(state)) + "%  " + FormatBytes(state.done) + " of " +
                     FormatBytes(state.total);
  if (const uint64_t rate = RateOf(state); rate > 0) text += "  " + FormatBytes(rate) + "/s";
  if (const int64_t left = SecondsLeft(state); left >= 0) {
    text += "  " + FormatDuration(left) + " left";
  }
  return text;
}

bool ContinuesSequence(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// The first `columns` bytes of a line, cut where a UTF-8 sequence begins.
std::string HeadOf(const std::string& line, size_t columns) {
  if (line.size() <= columns) return line;
  while (columns > 0 && ContinuesSequence(line[columns])) --columns;
  return line.substr(0, columns);
}

// The last `columns` bytes of a name, cut where a UTF-8 sequence begins.
std::string TailOf(const std::string& name, size_t columns) {
  if (name.size() <= columns) return name;
  size_t start = name.size() - columns;
  while (start < name.size() && ContinuesSequence(name[start])) ++start;
  return name.substr(start);
}

// What the log's line gives as the reason, in brackets; empty when there is no trouble.
std::string ReasonOf(const std::string& trouble) {
  if (trouble.empty()) return {};
  static const std::string kMark = "Reason: ";
  const size_t mark = trouble.rfind(kMark);
  const size_t start = mark == std::string::npos ? 0 : mark + kMark.size();
  return "  [" + PrintableText(trouble.substr(start)) + "]";
}

// What follows the name: as much as leaves `room` columns enough, the least when nothing does.
std::string BarAndFigures(const TransferState& state, size_t room) {
  constexpr size_t kBarColumns = 24;
  const size_t filled = kBarColumns * static_cast<size_t>(PercentOf(state)) / 100;
  const std::string bar =
      "[" + std::string(filled, '#') + std::string(kBarColumns - filled, '.') + "] ";
  const std::string reason = ReasonOf(state.trouble);
  const std::string all = bar + Figures(state) + reason;
  if (reason.empty() || all.size() <= room) return all;
  const std::string figures = Figures(state) + reason;
  return figures.size() <= room ? figures : std::to_string(PercentOf(state)) + "%" + reason;
}

}  // namespace

int PercentOf(const TransferState& state) {
  if (state.total == 0) return 100;
  return static_cast<int>(std::min<uint64_t>(100, state.done * 100 / state.total));
}

uint64_t RateOf(const TransferState& state) {
  return state.elapsed_seconds == 0 ? 0 : state.done / state.elapsed_seconds;
}

int64_t SecondsLeft(const TransferState& state) {
  const uint64_t rate = RateOf(state);
  if (rate == 0 || state.done > state.total) return -1;
  return static_cast<int64_t>((state.total - state.done) / rate);
}

std::string FormatBytes(uint64_t bytes) {
  if (bytes < 1024) return std::to_string(bytes) + " B";
  static constexpr std::array kUnits = {"KiB", "MiB", "GiB", "TiB"};
  double value = static_cast<double>(bytes) / 1024;
  size_t unit = 0;
  // What would be rounded to 1024.0 is one of the next unit.
  while (value >= 1023.95 && unit + 1 < kUnits.size()) {
    value /= 1024;
    ++unit;
  }
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f %s", value, kUnits[unit]);
  return text.data();
}

std::string ProgressLine(const TransferState& state) {
  if (!state.is_active) return "idle";
  std::string line =
      std::string(state.is_upload ? "upload " : "download ") + state.name + "  " + Figures(state);
  if (!state.trouble.empty()) line += "  [" + state.trouble + "]";
  return line;
}

std::string ProgressBar(const TransferState& state, int width) {
  if (!state.is_active) return "idle";
  constexpr size_t kNameColumns = 16;  // what a reason leaves of a name
  const auto columns = static_cast<size_t>(std::max(width, 20));
  const std::string name = PrintableText(state.name);
  const std::string head = state.is_upload ? "up " : "down ";
  const size_t least = head.size() + std::min(name.size(), kNameColumns) + 1;
  const std::string tail = BarAndFigures(state, columns > least ? columns - least - 1 : 0);
  const size_t used = head.size() + tail.size() + 1;
  size_t room = columns > used ? columns - used - 1 : 0;
  if (!state.trouble.empty()) room = std::max(room, kNameColumns);
  return HeadOf(head + TailOf(name, room) + " " + tail, columns - 1);
}

std::string ProgressJson(const TransferState& state) {
  if (!state.is_active) return "{\"direction\": null}";
  return "{\"direction\": \"" + std::string(state.is_upload ? "upload" : "download") +
         "\", \"name\": " + JsonText(state.name) + ", \"bytes\": " + std::to_string(state.done) +
         ", \"total\": " + std::to_string(state.total) +
         ", \"percent\": " + std::to_string(PercentOf(state)) +
         ", \"bytes_per_second\": " + std::to_string(RateOf(state)) +
         ", \"seconds_left\": " + std::to_string(SecondsLeft(state)) +
         ", \"trouble\": " + JsonText(state.trouble) + "}";
}

}  // namespace zv
