#include "platform/registry.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/error.h"
#include "platform/registry_testing.h"
#include "tests/platform/second_process.h"
#include "tests/platform/system_fixture.h"

namespace zv {
namespace {

using testing::SecondProcess;
using testing::Stored;

constexpr size_t kPlenty = 4096;
constexpr int kValuesEach = 60;

Text Number(int number) { return FromUtf8(std::to_string(number)); }
Text KeyBelow(TextView name) { return Text(testing::kTestKey) + u"\\" + Text(name); }

class RegistryTest : public ::testing::Test {
 protected:
  RegistryTest() { RemoveAll(); }
  ~RegistryTest() override { RemoveAll(); }

  RegistryKey Make(TextView name) {
    auto key = RegistryKey::Open(KeyBelow(name), KeyMode::kOpenOrCreate);
    EXPECT_TRUE(key.has_value()) << LastError();
    return std::move(key).value();
  }

  testing::TemporaryHome home_;

 private:
  static void RemoveAll() {
    testing::RemoveUserTree(testing::kTestKey);
    testing::RemoveMachineTree(testing::kTestKey);
  }
};

TEST_F(RegistryTest, OpeningAMissingKeyFails) {
  EXPECT_FALSE(RegistryKey::Open(KeyBelow(u"none"), KeyMode::kOpen).has_value());
  EXPECT_EQ(LastError(), kErrorFileNotFound);
}

TEST_F(RegistryTest, MakingAKeyMakesItsParents) {
  Make(u"a\\b\\c");
  EXPECT_TRUE(RegistryKey::Open(KeyBelow(u"a"), KeyMode::kOpen).has_value());
  EXPECT_TRUE(RegistryKey::Open(KeyBelow(u"a\\b"), KeyMode::kOpen).has_value());
  EXPECT_TRUE(RegistryKey::Open(KeyBelow(u"a\\b\\c"), KeyMode::kOpen).has_value());
  EXPECT_FALSE(RegistryKey::Open(KeyBelow(u"b"), KeyMode::kOpen).has_value());
}

TEST_F(RegistryTest, AnotherHandleSeesWhatOneWrote) {
  ASSERT_TRUE(Make(u"k").Write(u"UserName", kRegSz, Stored(u"ann")));
  const auto value = RegistryKey::Open(KeyBelow(u"k"), KeyMode::kOpen)->Read(u"UserName", kPlenty);
  ASSERT_TRUE(value.has_value());
  EXPECT_EQ(value->type, kRegSz);
  EXPECT_EQ(value->data, Stored(u"ann"));
}

TEST_F(RegistryTest, KeyNamesAreCaseBlind) {
  ASSERT_TRUE(Make(u"Connection Parameters").Write(u"v", kRegSz, Stored(u"x")));
  const auto key =
      RegistryKey::Open(u"SOFTWARE\\zvworkerTESTS\\CONNECTION parameters", KeyMode::kOpen);
  ASSERT_TRUE(key.has_value());
  EXPECT_TRUE(key->Read(u"v", kPlenty).has_value());
}

TEST_F(RegistryTest, ValueNamesAreCaseBlind) {
  RegistryKey key = Make(u"k");
  ASSERT_TRUE(key.Write(u"OLdUsedQuota", kRegSz, Stored(u"1")));
  ASSERT_TRUE(key.Write(u"OldUsedQuota", kRegSz, Stored(u"2")));
  EXPECT_EQ(key.Read(u"OLDUSEDQUOTA", kPlenty)->data, Stored(u"2"));
}

TEST_F(RegistryTest, NamesBeyondAsciiAreKept) {
  RegistryKey key = Make(u"\u00C4rger \u4E16\u754C");
  ASSERT_TRUE(key.Write(u"\u00E9t\u00E9\U0001F600", kRegSz, Stored(u"\u2603")));
  EXPECT_EQ(key.Read(u"\u00C9T\u00C9\U0001F600", kPlenty)->data, Stored(u"\u2603"));
  EXPECT_TRUE(RegistryKey::Open(KeyBelow(u"\u00E4RGER \u4E16\u754C"), KeyMode::kOpen).has_value());
}

TEST_F(RegistryTest, KeepsTypesAndBytesAsWritten) {
  const RegistryValue values[] = {
      {kRegSz, Stored(u"text")},
      {kRegSz, ""},
      {kRegSz, "odd"},
      {kRegSz, ToUtf16LeBytes(u"no terminator")},
      {kRegSz, Stored(u"")},
      {kRegExpandSz, Stored(u"%TEMP%\\x")},
      {kRegBinary, std::string("\0\x01\xFF", 3)},
      {kRegDword, std::string("\x2A\0\0\0", 4)},
  };
  RegistryKey key = Make(u"types");
  int number = 0;
  for (const RegistryValue& value : values) {
    const Text name = Number(number++);
    ASSERT_TRUE(key.Write(name, value.type, value.data));
    const auto read = key.Read(name, kPlenty);
    ASSERT_TRUE(read.has_value()) << number;
    EXPECT_EQ(read->type, value.type) << number;
    EXPECT_EQ(read->data, value.data) << number;
  }
}

TEST_F(RegistryTest, AMissingValueReadsAsNothing) {
  EXPECT_FALSE(Make(u"k").Read(u"none", kPlenty).has_value());
  EXPECT_EQ(LastError(), kErrorFileNotFound);
}

TEST_F(RegistryTest, AValueLongerThanAskedReadsAsNothing) {
  RegistryKey key = Make(u"k");
  ASSERT_TRUE(key.Write(u"fits", kRegSz, Stored(Text(509, u'a'))));
  ASSERT_TRUE(key.Write(u"long", kRegSz, Stored(Text(510, u'a'))));
  EXPECT_TRUE(key.Read(u"fits", 1020).has_value());
  EXPECT_FALSE(key.Read(u"long", 1020).has_value());
  EXPECT_NE(LastError(), kErrorFileNotFound);
}

TEST_F(RegistryTest, KeepsALargeValue) {
  RegistryKey key = Make(u"k");
  const std::string bytes(300'000, '\x5A');
  ASSERT_TRUE(key.Write(u"large", kRegBinary, bytes));
  EXPECT_EQ(key.Read(u"large", bytes.size())->data, bytes);
}

TEST_F(RegistryTest, WritingAgainReplacesTypeAndData) {
  RegistryKey key = Make(u"k");
  ASSERT_TRUE(key.Write(u"v", kRegSz, Stored(u"first text")));
  ASSERT_TRUE(key.Write(u"v", kRegDword, std::string(4, '\x01')));
  const auto value = key.Read(u"v", kPlenty);
  EXPECT_EQ(value->type, kRegDword);
  EXPECT_EQ(value->data, std::string(4, '\x01'));
}

TEST_F(RegistryTest, RemovesAValueOnce) {
  RegistryKey key = Make(u"k");
  ASSERT_TRUE(key.Write(u"v", kRegSz, Stored(u"x")));
  EXPECT_TRUE(testing::RemoveUserValue(KeyBelow(u"K"), u"V"));
  EXPECT_FALSE(key.Read(u"v", kPlenty).has_value());
  EXPECT_FALSE(testing::RemoveUserValue(KeyBelow(u"k"), u"v"));
  EXPECT_EQ(LastError(), kErrorFileNotFound);
}

TEST_F(RegistryTest, ARemovedKeyTakesNoValue) {
  RegistryKey key = Make(u"k\\below");
  ASSERT_TRUE(testing::RemoveUserTree(KeyBelow(u"K")));
  EXPECT_FALSE(key.Write(u"v", kRegSz, Stored(u"x")));
  EXPECT_FALSE(RegistryKey::Open(KeyBelow(u"k\\below"), KeyMode::kOpen).has_value());
}

TEST_F(RegistryTest, TheUsersTextGoesBeforeTheMachines) {
  ASSERT_TRUE(testing::WriteMachineValue(KeyBelow(u"k"), u"Quota", kRegSz, Stored(u"machine")));
  EXPECT_EQ(ReadPerUserText(KeyBelow(u"k"), u"Quota", 100), u"machine");
  RegistryKey key = Make(u"k");
  EXPECT_EQ(ReadPerUserText(KeyBelow(u"k"), u"Quota", 100), u"machine");
  ASSERT_TRUE(key.Write(u"Quota", kRegSz, Stored(u"user")));
  EXPECT_EQ(ReadPerUserText(KeyBelow(u"k"), u"Quota", 100), u"user");
}

TEST_F(RegistryTest, PerUserTextIsMissingInBothHives) {
  EXPECT_EQ(ReadPerUserText(KeyBelow(u"k"), u"Quota", 100), std::nullopt);
}

TEST_F(RegistryTest, PerUserTextHasToFit) {
  RegistryKey key = Make(u"k");
  ASSERT_TRUE(key.Write(u"fits", kRegSz, Stored(Text(49, u'1'))));
  ASSERT_TRUE(key.Write(u"long", kRegSz, Stored(Text(50, u'1'))));
  ASSERT_TRUE(testing::WriteMachineValue(KeyBelow(u"k"), u"long", kRegSz, Stored(u"short")));
  EXPECT_EQ(ReadPerUserText(KeyBelow(u"k"), u"fits", 100), Text(49, u'1'));
  EXPECT_EQ(ReadPerUserText(KeyBelow(u"k"), u"long", 100), std::nullopt);
}

TEST_F(RegistryTest, PerUserTextHasToBeText) {
  RegistryKey key = Make(u"k");
  ASSERT_TRUE(key.Write(u"number", kRegDword, std::string(4, '\x01')));
  EXPECT_EQ(ReadPerUserText(KeyBelow(u"k"), u"number", 100), std::nullopt);
}

TEST_F(RegistryTest, ThreadsReadAndWriteAtOnce) {
  Make(u"threads");
  std::vector<std::thread> threads;
  std::vector<int> right(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i, &right] {
      for (int round = 0; round < kValuesEach; ++round) {
        auto key = RegistryKey::Open(KeyBelow(u"threads"), KeyMode::kOpen);
        if (!key || !key->Write(Number(i), kRegSz, Stored(Number(round)))) return;
        const auto value = key->Read(Number(i), kPlenty);
        right[static_cast<size_t>(i)] += value && value->data == Stored(Number(round));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(right, std::vector<int>(4, kValuesEach));
}

TEST_F(RegistryTest, ProcessesWriteAtOnce) {
  std::vector<SecondProcess> children;
  for (const char* prefix : {"a", "b", "c", "d"}) {
    children.emplace_back(std::vector<std::string>{"write_registry_values", home_.name(), prefix});
  }
  for (SecondProcess& child : children) EXPECT_EQ(child.Wait(), 0);
  RegistryKey key = Make(u"processes");
  for (const TextView prefix : {u"a", u"b", u"c", u"d"}) {
    for (int i = 0; i < kValuesEach; ++i) {
      const auto value = key.Read(Text(prefix) + Number(i), kPlenty);
      ASSERT_TRUE(value.has_value()) << ToUtf8(prefix) << i;
      EXPECT_EQ(value->data, Stored(Number(i)));
    }
  }
}

// Each answer that was given before the other process wrote must not be given again.
TEST_F(RegistryTest, WhatAnotherProcessWritesIsReadAtOnce) {
  RegistryKey key = Make(u"processes");
  for (int i = 0; i < kValuesEach; ++i) {
    ASSERT_FALSE(key.Read(u"a" + Number(i), kPlenty).has_value());
    ASSERT_TRUE(key.Write(u"b" + Number(i), kRegSz, Stored(u"old")));
    ASSERT_EQ(key.Read(u"b" + Number(i), kPlenty)->data, Stored(u"old"));
  }
  for (const char* prefix : {"a", "b"}) {
    SecondProcess child({"write_registry_values", home_.name(), prefix});
    ASSERT_EQ(child.Wait(), 0);
    for (int i = 0; i < kValuesEach; ++i) {
      const auto value = key.Read(FromUtf8(prefix) + Number(i), kPlenty);
      ASSERT_TRUE(value.has_value()) << prefix << i;
      EXPECT_EQ(value->data, Stored(Number(i)));
    }
  }
}

TEST_F(RegistryTest, WhatWasReadIsForgottenWithItsChange) {
  RegistryKey key = Make(u"changes");
  EXPECT_FALSE(key.Read(u"v", kPlenty).has_value());
  for (const TextView text : {u"one", u"two"}) {
    ASSERT_TRUE(key.Write(u"v", kRegSz, Stored(text)));
    for (int again = 0; again < 2; ++again) EXPECT_EQ(key.Read(u"v", kPlenty)->data, Stored(text));
  }
  ASSERT_TRUE(testing::RemoveUserValue(KeyBelow(u"changes"), u"v"));
  EXPECT_FALSE(key.Read(u"v", kPlenty).has_value());
}

}  // namespace

// Every value through a key opened anew, as the settings are written, and read back.
int testing::WriteRegistryValues(const std::vector<std::string>& arguments) {
  UseHome(arguments.at(0));
  const Text prefix = FromUtf8(arguments.at(1));
  for (int i = 0; i < kValuesEach; ++i) {
    auto key = RegistryKey::Open(KeyBelow(u"processes"), KeyMode::kOpenOrCreate);
    if (!key || !key->Write(prefix + Number(i), kRegSz, Stored(Number(i)))) return 1;
    if (!key->Read(prefix + Number(i), kPlenty)) return 1;
  }
  return 0;
}

}  // namespace zv
