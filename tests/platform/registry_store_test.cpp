// What only the store on Linux promises.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "platform/error.h"
#include "platform/home.h"
#include "platform/registry.h"
#include "tests/platform/system_fixture.h"
#include "tests/support/no_files_left.h"

namespace zv {
namespace {

namespace fs = std::filesystem;

TEST(RegistryStoreTest, EachHomeHasItsOwn) {
  const testing::TemporaryHome first;
  auto old_key = RegistryKey::Open(testing::kTestKey, KeyMode::kOpenOrCreate);
  ASSERT_TRUE(old_key->Write(u"v", kRegSz, testing::Stored(u"first")));
  const testing::TemporaryHome second;
  EXPECT_FALSE(RegistryKey::Open(testing::kTestKey, KeyMode::kOpen).has_value());
  EXPECT_TRUE(old_key->Read(u"v", 100).has_value());
  testing::UseHome(first.name());
  EXPECT_TRUE(RegistryKey::Open(testing::kTestKey, KeyMode::kOpen)->Read(u"v", 100).has_value());
}

TEST(RegistryStoreTest, OnlyItsOwnerReadsIt) {
  const testing::TemporaryHome home;
  ASSERT_TRUE(RegistryKey::Open(testing::kTestKey, KeyMode::kOpenOrCreate).has_value());
  for (const auto& file : fs::directory_iterator(home.name())) {
    const auto others = fs::perms::group_all | fs::perms::others_all;
    EXPECT_EQ(file.status().permissions() & others, fs::perms::none) << file.path();
  }
  EXPECT_TRUE(fs::exists(home.name() + "/registry.db"));
}

TEST(RegistryStoreTest, AFileThatIsNoStoreIsRefusedAndKept) {
  const testing::TemporaryHome home;
  const std::string text(2000, 'x');
  std::ofstream(home.name() + "/registry.db") << text;
  EXPECT_FALSE(RegistryKey::Open(testing::kTestKey, KeyMode::kOpenOrCreate).has_value());
  std::ifstream file(home.name() + "/registry.db");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), text);
}

TEST(RegistryStoreTest, WhereNoFileCanBeOpenedSaysSo) {
  {
    const testing::TemporaryHome broken;
    std::ofstream(broken.name() + "/registry.db") << "no database";
    EXPECT_FALSE(RegistryKey::Open(testing::kTestKey, KeyMode::kOpen).has_value());
  }
  const testing::TemporaryHome home;
  bool opened = true;
  uint32_t code = 0;
  {
    const testing::NoFilesLeft none;
    opened = RegistryKey::Open(testing::kTestKey, KeyMode::kOpen).has_value();
    code = LastError();
  }
  EXPECT_FALSE(opened);
  EXPECT_EQ(code, static_cast<uint32_t>(EMFILE));
  EXPECT_TRUE(RegistryKey::Open(testing::kTestKey, KeyMode::kOpenOrCreate).has_value());
}

}  // namespace
}  // namespace zv
