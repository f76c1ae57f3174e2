// The same requests get the same answers on every system, byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "cache/cache_names.h"
#include "tests/e2e/protocol_fixture.h"

namespace zv::testing {
namespace {

// A request, and the whole answer that it must get.
struct Step {
  RequestQueue queue = RequestQueue::kInfo;
  RequestRecord record;
  std::string block;
  std::string_view answer;
};

Step Info(const RequestRecord& record, std::string_view answer) {
  return {RequestQueue::kInfo, record, {}, answer};
}
Step Transfer(const RequestRecord& record, std::string_view answer) {
  return {RequestQueue::kTransfer, record, {}, answer};
}
Step List(TextView folder, uint32_t index, std::string_view answer) {
  return Info(MakeRequest(MajorCode::kDirectory, folder, index), answer);
}
Step Query(TextView path, std::string_view answer) {
  return Info(MakeRequest(MajorCode::kQueryInfo, path), answer);
}
Step Read(TextView path, int64_t offset, uint32_t length, std::string_view answer) {
  RequestRecord record = MakeRequest(MajorCode::kRestore, path, length);
  record.offset = offset;
  return Transfer(record, answer);
}
Step Block(TextView path, int64_t offset, std::string block, bool force, std::string_view answer) {
  RequestRecord record =
      MakeBackup(MinorCode::kCacheBackup, path, static_cast<uint32_t>(block.size()));
  record.offset = offset;
  record.force_store = force;
  return {RequestQueue::kTransfer, record, std::move(block), answer};
}
Step Rename(TextView from, TextView to, MinorCode minor, std::string_view answer) {
  RequestRecord record = MakeRequest(MajorCode::kRename, from);
  record.minor = static_cast<uint32_t>(minor);
  record.SetSecondPath(Text(u"\\??\\Y:").append(to));
  return Info(record, answer);
}

void AppendHex(std::string& text, std::span<const std::byte> bytes) {
  static constexpr size_t kShortestRun = 4;
  for (size_t i = 0; i < bytes.size();) {
    size_t end = i;
    while (end < bytes.size() && bytes[end] == std::byte{0}) ++end;
    char piece[24];
    if (end - i >= kShortestRun) {
      std::snprintf(piece, sizeof piece, "(%zu)", end - i);
      i = end;
    } else {
      std::snprintf(piece, sizeof piece, "%02x", std::to_integer<unsigned>(bytes[i++]));
    }
    text += piece;
  }
}

// Code, record and data in hexadecimal; "(n)" stands for n zero bytes. The address of a transfer
// reply's buffer, which no two runs share, is told by "@", and only whether there is one.
std::string Describe(const SubmitResult& result) {
  if (result.outcome != Outcome::kReplied) {
    return "outcome " + std::to_string(static_cast<uint32_t>(result.outcome));
  }
  std::vector<std::byte> record = result.reply.record;
  const bool is_transfer =
      result.reply.code == IOCTL_BACKUP_REPLY || result.reply.code == IOCTL_RESTORE_REPLY;
  bool has_buffer = false;
  if (is_transfer && record.size() == sizeof(TransferReply)) {
    const std::span<std::byte> address = std::span(record).subspan(8);
    has_buffer = std::ranges::any_of(address, [](std::byte b) { return b != std::byte{0}; });
    std::ranges::fill(address, std::byte{0});
  }
  char code[16];
  std::snprintf(code, sizeof code, "%08X ", result.reply.code);
  std::string text = code;
  AppendHex(text, record);
  if (has_buffer) text += " @";
  if (!result.reply.data.empty()) text += " ";
  AppendHex(text, result.reply.data);
  return text;
}

class AnswersTest : public ProtocolTest {
 protected:
  void SetUp() override {
    account_.PutFile("/Docs/\xC3\xBC.txt", "12345");
    account_.PutFolder("/Docs/Empty");
    account_.PutFile("/note.txt", "a note");
    StartServing();
  }

  void Play(const std::vector<Step>& steps) {
    for (size_t i = 0; i < steps.size(); ++i) {
      const Step& step = steps[i];
      EXPECT_EQ(Describe(Ask(step.queue, step.record, step.block)), step.answer)
          << "step " << i << ": " << ToUtf8(step.record.Path());
    }
  }
};

TEST_F(AnswersTest, ToListings) {
  Play({
      List(u"\\", 1,
           "00282014 "
           "0100000001(7)01(19)9e4c0a2103000000a84c0a2103000000a84c0a2103000000a84c0a21030000002e("
           "519)"),
      List(u"\\", 2,
           "00282014 "
           "0100000002(7)02(19)"
           "9e4c0a2103000000a84c0a2103000000a84c0a2103000000a84c0a21030000002e002e(517)"),
      List(u"\\", 3,
           "00282014 "
           "0100000004(7)03(19)"
           "9e4c0a2103000000a84c0a2103000000a84c0a2103000000a84c0a210300000044006f00630073(513)"),
      List(u"\\", 4,
           "00282014 "
           "(4)08(7)0400000006(15)"
           "aa4c0a2103000000aa4c0a2103000000aa4c0a2103000000aa4c0a21030000006e006f00740065002e00740"
           "0780074(505)"),
      List(u"\\", 5, "00282014 ffffffff(8)05(11)01(559)"),
      List(u"\\Docs\\", 1,
           "00282014 "
           "0100000001(7)01(19)a64c0a2103000000a64c0a2103000000a64c0a2103000000a64c0a21030000002e("
           "519)"),
      List(u"\\Docs\\", 2,
           "00282014 "
           "0100000002(7)02(19)"
           "a64c0a2103000000a64c0a2103000000a64c0a2103000000a64c0a21030000002e002e(517)"),
      List(u"\\Docs\\", 3,
           "00282014 "
           "0100000005(7)03(19)"
           "a64c0a2103000000a64c0a2103000000a64c0a2103000000a64c0a210300000045006d007000740079("
           "511)"),
      List(u"\\Docs\\", 4,
           "00282014 "
           "(4)05(7)0400000005(15)"
           "a24c0a2103000000a24c0a2103000000a24c0a2103000000a24c0a2103000000fc002e007400780074("
           "511)"),
      List(u"\\Docs\\", 5, "00282014 ffffffff(8)05(11)01(559)"),
      List(u"\\Docs\\Empty\\", 1,
           "00282014 "
           "0100000001(7)01(19)a64c0a2103000000a64c0a2103000000a64c0a2103000000a64c0a21030000002e("
           "519)"),
      List(u"\\Docs\\Empty\\", 3, "00282014 ffffffff(8)03(11)01(559)"),
      List(u"\\Docs\\", 99, "00282014 ffffffff(8)63(11)01(559)"),
      List(u"\\Missing\\", 1, "00282014 ffffffff(8)01(11)01(559)"),
  });
}

TEST_F(AnswersTest, ToQueries) {
  RequestRecord in_two_parts = MakeRequest(MajorCode::kQueryInfo, u"\\Docs");
  in_two_parts.SetSecondPath(u"\u00FC.txt");
  Play({
      Query(u"\\", "00282010 01(23)01(559)"),
      Query(u"\\note.txt",
            "00282010 "
            "(4)09(7)0100000006(7)01(7)"
            "aa4c0a2103000000aa4c0a2103000000aa4c0a2103000000aa4c0a21030000005c006e006f00740065002e"
            "007400780074(503)"),
      Query(u"\\NOTE.TXT", "00282010 ffffffff(20)01(559)"),
      Query(u"\\Docs",
            "00282010 "
            "0100000005(7)01(11)01(7)"
            "9e4c0a2103000000a84c0a2103000000a84c0a2103000000a84c0a21030000005c0044006f00630073("
            "511)"),
      Query(u"\\Docs\\\u00FC.txt",
            "00282010 "
            "(4)0b(7)0100000005(7)01(7)"
            "a24c0a2103000000a24c0a2103000000a24c0a2103000000a24c0a21030000005c0044006f00630073005c"
            "00fc002e007400780074(499)"),
      Info(in_two_parts,
           "00282010 "
           "(4)0b(7)0100000005(7)01(7)"
           "a24c0a2103000000a24c0a2103000000a24c0a2103000000a24c0a21030000005c0044006f00630073005c0"
           "0fc002e007400780074(499)"),
      Query(u"\\Docs\\Empty",
            "00282010 "
            "010000000b(7)01(11)01(7)"
            "a64c0a2103000000a64c0a2103000000a64c0a2103000000a64c0a21030000005c0044006f00630073005c"
            "0045006d007000740079(499)"),
      Query(u"\\missing.txt", "00282010 ffffffff(20)01(559)"),
      Query(u"\\Missing\\missing.txt", "00282010 ffffffff(20)01(559)"),
      Query(u"", "00282010 01(23)01(559)"),
      Info(MakeRequest(MajorCode::kVolumeInfo, u""), "00282024 64(7)64(7)03(15)"),
  });
}

TEST_F(AnswersTest, ToReads) {
  Play({
      Read(u"\\note.txt", 0, 6, "00282020 06(15) @ 61206e6f7465"),
      Read(u"\\note.txt", 2, 100, "00282020 04(15) @ 6e6f7465"),
      Read(u"\\note.txt", 0, 51200, "00282020 06(15) @ 61206e6f7465"),
      Read(u"\\note.txt", 2, 3, "00282020 03(15) @ 6e6f74"),
      Read(u"\\note.txt", 6, 10, "00282020 (16) @"),
      Read(u"\\note.txt", 7, 10, "00282020 (4)01(11) @"),
      Read(u"\\missing.txt", 0, 51200, "00282020 00c8000001(11) @ (51200)"),
  });
}

TEST_F(AnswersTest, ToWrites) {
  Play({
      List(u"\\", 1,
           "00282014 "
           "0100000001(7)01(19)9e4c0a2103000000a84c0a2103000000a84c0a2103000000a84c0a21030000002e("
           "519)"),
      Block(u"\\new.txt", 0, "first", true, "0028201C 05(15) @"),
      Block(u"\\new.txt", 5, " and second", false, "0028201C 0b(15) @"),
      Block(u"\\new.txt", 0, "", false, "0028201C (16) @"),
      Transfer(MakeBackup(MinorCode::kBackupComplete, u"\\new.txt"), "00282FB8 (4)"),
      List(u"\\", 9, "00282014 ffffffff(8)09(11)01(559)"),
      List(u"\\", 4,
           "00282014 "
           "(4)07(7)0400000010(15)"
           "ae4c0a2103000000ae4c0a2103000000ae4c0a2103000000ae4c0a21030000006e00650077002e007400780"
           "074(507)"),
      List(u"\\", 9, "00282014 ffffffff(8)09(11)01(559)"),
      Read(u"\\new.txt", 0, 100, "00282020 10(15) @ 666972737420616e64207365636f6e64"),
      Block(u"\\new.txt", 0, "", true, "0028201C (16) @"),
      Read(u"\\new.txt", 0, 100, "00282020 (16) @"),
      Block(u"\\new.txt", 0, "short", false, "0028201C 05(15) @"),
      Transfer(MakeBackup(MinorCode::kBackupComplete, u"\\new.txt"), "00282FB8 (4)"),
      Transfer(MakeBackup(MinorCode::kZeroBackup, u"\\empty.txt"), "0028201C (16)"),
      List(u"\\", 4,
           "00282014 "
           "(4)09(7)04(19)"
           "b64c0a2103000000b64c0a2103000000b64c0a2103000000b64c0a210300000065006d007000740079002e0"
           "07400780074(503)"),
      List(u"\\", 5,
           "00282014 "
           "(4)07(7)0500000005(15)"
           "ae4c0a2103000000b24c0a2103000000b24c0a2103000000b24c0a21030000006e00650077002e007400780"
           "074(507)"),
      List(u"\\", 6,
           "00282014 "
           "(4)08(7)0600000006(15)"
           "aa4c0a2103000000aa4c0a2103000000aa4c0a2103000000aa4c0a21030000006e006f00740065002e00740"
           "0780074(505)"),
      List(u"\\", 7, "00282014 ffffffff(8)07(11)01(559)"),
  });
  EXPECT_EQ(account_.File("/new.txt"), "short");
  EXPECT_EQ(account_.File("/empty.txt"), "");
}

TEST_F(AnswersTest, ToTheBlockAfterOneThatCouldNotBeStored) {
  MakeFolders(CacheNames(home_.CacheFolder(kUser)).GetFileRecordName(u"/bad.txt"));
  Play({
      Block(u"\\bad.txt", 0, "lost", true, "0028201C 04(15) @"),
      Block(u"\\good.txt", 0, "refused", true, "0028201C (4)01(11) @"),
      Block(u"\\good.txt", 0, "stored", true, "0028201C 06(15) @"),
      Transfer(MakeBackup(MinorCode::kBackupComplete, u"\\good.txt"), "00282FB8 (4)"),
  });
  EXPECT_EQ(account_.File("/good.txt"), "stored");
}

TEST_F(AnswersTest, ToChangesOfNames) {
  Play({
      List(u"\\", 1,
           "00282014 "
           "0100000001(7)01(19)9e4c0a2103000000a84c0a2103000000a84c0a2103000000a84c0a21030000002e("
           "519)"),
      Transfer(MakeBackup(MinorCode::kCreateDirectory, u"\\New"), "00282FB8 64000000"),
      Transfer(MakeBackup(MinorCode::kCreateDirectory, u"\\No\\New"), "00282FB8 65000000"),
      Rename(u"\\note.txt", u"\\New\\note.txt", MinorCode::kNone, "00282018 64000000"),
      Rename(u"\\Docs\\\u00FC.txt", u"\\New\\note.txt", MinorCode::kNone, "00282018 66000000"),
      Rename(u"\\Docs\\\u00FC.txt", u"\\New\\note.txt", MinorCode::kReplaceOnRename,
             "00282018 64000000"),
      Rename(u"\\missing.txt", u"\\other.txt", MinorCode::kNone, "00282018 65000000"),
      Rename(u"\\Docs", u"\\New\\Docs", MinorCode::kNone, "00282018 64000000"),
      Query(u"\\Docs", "00282010 ffffffff(20)01(559)"),
      List(u"\\New\\", 3,
           "00282014 "
           "0100000004(7)03(19)"
           "9e4c0a2103000000b84c0a2103000000b84c0a2103000000b84c0a210300000044006f00630073(513)"),
      List(u"\\New\\", 4,
           "00282014 "
           "(4)08(7)0400000005(15)"
           "a24c0a2103000000a24c0a2103000000a24c0a2103000000a24c0a21030000006e006f00740065002e00740"
           "0780074(505)"),
      List(u"\\New\\Docs\\", 3,
           "00282014 "
           "0100000005(7)03(19)"
           "a64c0a2103000000a64c0a2103000000a64c0a2103000000a64c0a210300000045006d007000740079("
           "511)"),
      Info(MakeRequest(MajorCode::kDelete, u"\\New\\note.txt"), "00282018 64000000"),
      Info(MakeRequest(MajorCode::kDelete, u"\\New"), "00282018 64000000"),
      Info(MakeRequest(MajorCode::kDelete, u"\\New"), "00282018 65000000"),
      Info(MakeRequest(MajorCode::kDelete, u"\\"), "00282018 65000000"),
      List(u"\\", 1,
           "00282014 "
           "0100000001(7)01(19)9c4c0a2103000000c24c0a2103000000c24c0a2103000000c24c0a21030000002e("
           "519)"),
      List(u"\\", 3, "00282014 ffffffff(8)03(11)01(559)"),
  });
  EXPECT_TRUE(account_.Tree().empty());
}

TEST_F(AnswersTest, NoneToCodesThatItDoesNotKnow) {
  Play({
      Info(MakeRequest(static_cast<MajorCode>(9), u"\\note.txt"), "outcome 1"),
      Transfer(MakeBackup(static_cast<MinorCode>(35), u"\\note.txt"), "outcome 1"),
  });
}

}  // namespace
}  // namespace zv::testing
