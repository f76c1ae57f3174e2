#include "apps/zvdrive/progress_line.h"

#include <gtest/gtest.h>

namespace zv::testing {
namespace {

TransferState Upload(uint64_t done, uint64_t total, uint32_t seconds = 0) {
  return {.is_active = true,
          .is_upload = true,
          .name = "/Docs/a.txt",
          .done = done,
          .total = total,
          .elapsed_seconds = seconds,
          .trouble = {}};
}

TEST(ProgressLineTest, PercentsAreRoundedDownAndNeverAboveAHundred) {
  EXPECT_EQ(PercentOf(Upload(0, 1000)), 0);
  EXPECT_EQ(PercentOf(Upload(999, 1000)), 99);
  EXPECT_EQ(PercentOf(Upload(1000, 1000)), 100);
  EXPECT_EQ(PercentOf(Upload(1001, 1000)), 100);
  EXPECT_EQ(PercentOf(Upload(0, 0)), 100);
}

TEST(ProgressLineTest, RateAndTimeLeftAreUnknownInTheFirstSecond) {
  EXPECT_EQ(RateOf(Upload(500, 1000, 0)), 0u);
  EXPECT_EQ(SecondsLeft(Upload(500, 1000, 0)), -1);
  EXPECT_EQ(SecondsLeft(Upload(0, 1000, 5)), -1);
}

TEST(ProgressLineTest, TimeLeftFollowsFromTheRate) {
  EXPECT_EQ(RateOf(Upload(500, 2000, 5)), 100u);
  EXPECT_EQ(SecondsLeft(Upload(500, 2000, 5)), 15);
  EXPECT_EQ(SecondsLeft(Upload(2000, 2000, 5)), 0);
  EXPECT_EQ(SecondsLeft(Upload(2001, 2000, 5)), -1);
}

TEST(ProgressLineTest, BytesAreToldInTheUnitThatFits) {
  EXPECT_EQ(FormatBytes(0), "0 B");
  EXPECT_EQ(FormatBytes(1023), "1023 B");
  EXPECT_EQ(FormatBytes(1024), "1.0 KiB");
  EXPECT_EQ(FormatBytes(1536), "1.5 KiB");
  EXPECT_EQ(FormatBytes((1 << 20) - 1), "1.0 MiB");
  EXPECT_EQ(FormatBytes(uint64_t{3} << 30), "3.0 GiB");
  EXPECT_EQ(FormatBytes(uint64_t{5} << 50), "5120.0 TiB");
}

TEST(ProgressLineTest, OneLineSaysItAll) {
  TransferState state = Upload(1 << 20, 4 << 20, 2);
  EXPECT_EQ(ProgressLine(state),
            "upload /Docs/a.txt  25%  1.0 MiB of 4.0 MiB  512.0 KiB/s  0:06 left");
  state.trouble = "the line broke";
  state.is_upload = false;
  state.elapsed_seconds = 0;
  EXPECT_EQ(ProgressLine(state), "download /Docs/a.txt  25%  1.0 MiB of 4.0 MiB  [the line broke]");
}

TEST(ProgressLineTest, NothingUnderWayIsIdle) {
  EXPECT_EQ(ProgressLine({}), "idle");
  EXPECT_EQ(ProgressBar({}, 80), "idle");
  EXPECT_EQ(ProgressJson({}), "{\"direction\": null}");
}

TEST(ProgressLineTest, TheBarFillsWithThePercents) {
  EXPECT_EQ(ProgressBar(Upload(0, 100), 80),
            "up /Docs/a.txt [........................] 0%  0 B of 100 B");
  EXPECT_EQ(ProgressBar(Upload(50, 100), 80),
            "up /Docs/a.txt [############............] 50%  50 B of 100 B");
  EXPECT_EQ(ProgressBar(Upload(100, 100), 80),
            "up /Docs/a.txt [########################] 100%  100 B of 100 B");
}

TEST(ProgressLineTest, TheBarStaysWithinItsColumnsAndKeepsTheEndOfTheName) {
  TransferState state = Upload(50, 100);
  state.name = "/a very long folder name/another one/report.txt";
  for (int width = 20; width < 120; ++width) {
    const std::string bar = ProgressBar(state, width);
    EXPECT_LT(bar.size(), static_cast<size_t>(width));
    const bool shows_the_end = bar.find("report.txt") != std::string::npos;
    EXPECT_TRUE(width < 70 || shows_the_end) << width;
  }
}

TEST(ProgressLineTest, TheBarTellsWhyTheTransferWasInterrupted) {
  TransferState state = Upload(1 << 20, 4 << 20, 2);
  state.trouble =
      "Resuming upload of file /Docs/a.txt [retry count 1, 25% transferred]. Reason: the line "
      "broke";
  EXPECT_EQ(ProgressBar(state, 120),
            "up /Docs/a.txt [######..................] 25%  1.0 MiB of 4.0 MiB  512.0 KiB/s  "
            "0:06 left  [the line broke]");
  EXPECT_EQ(ProgressBar(state, 90),
            "up /Docs/a.txt 25%  1.0 MiB of 4.0 MiB  512.0 KiB/s  0:06 left  [the line broke]");
  EXPECT_EQ(ProgressBar(state, 80), "up /Docs/a.txt 25%  [the line broke]");
}

TEST(ProgressLineTest, TheBarCutsNoCharacterApart) {
  TransferState state = Upload(50, 100);
  for (int i = 0; i < 40; ++i) state.name += "\xc3\xa4";  // a with dots, two bytes
  for (int width = 60; width < 64; ++width) {
    const std::string bar = ProgressBar(state, width);
    EXPECT_EQ(bar.substr(0, 5), "up \xc3\xa4") << width;
  }
}

TEST(ProgressLineTest, AReasonLeavesPartOfTheNameAndIsCutItself) {
  TransferState state = Upload(50, 100);
  state.name = "/a very long folder name/another one/report.txt";
  state.trouble = "Reason: " + std::string(200, 'x');
  for (int width = 30; width < 120; ++width) {
    const std::string bar = ProgressBar(state, width);
    EXPECT_EQ(bar.size(), static_cast<size_t>(width) - 1);
    EXPECT_EQ(bar.substr(0, 26), "up r one/report.txt 50%  [") << width;
  }
}

TEST(ProgressLineTest, NothingThatControlsATerminalIsInTheBar) {
  TransferState state = Upload(50, 100);
  state.name = "/a\x1b[2Jb.txt";
  state.trouble = "Reason: no\x07pe";
  EXPECT_EQ(ProgressBar(state, 100),
            "up /a?[2Jb.txt [############............] 50%  50 B of 100 B  [no?pe]");
}

TEST(ProgressLineTest, JsonIsForPrograms) {
  TransferState state = Upload(1 << 20, 4 << 20, 2);
  state.name = "/a \"b\".txt";
  EXPECT_EQ(ProgressJson(state),
            "{\"direction\": \"upload\", \"name\": \"/a \\\"b\\\".txt\", \"bytes\": 1048576, "
            "\"total\": 4194304, \"percent\": 25, \"bytes_per_second\": 524288, "
            "\"seconds_left\": 6, \"trouble\": \"\"}");
}

}  // namespace
}  // namespace zv::testing
