// A fresh user for each test: settings, application folder, cache folder and logs of its own.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/text.h"

namespace zv::testing {

inline constexpr TextView kProductKey = u"Software\\Orve-Lan\\Cirrux";
inline constexpr TextView kConnectionSubKey = u"\\Connection Parameters";
inline constexpr TextView kSettingsSubKey = u"\\Settings";
inline constexpr TextView kApplicationSubKey = u"\\Application";
inline constexpr TextView kTestApplicationPath = u"C:\\Apps\\Host";

struct AccountOptions {
  bool ssl = false;
  bool compression = false;
  bool check_freshness = true;  // "Intelligent Cache"
  Text account_type = {};       // empty, or "ZVSYNC"
  Text proxy_name = {};         // empty: no proxy
  uint16_t proxy_port = 0;
  Text proxy_user = {};
  Text proxy_password = {};
};

// On Linux a home folder of its own below the temporary folder, with its own settings, drives and
// shared block. On Windows the product's registry key and folders of this machine, emptied: the
// machine belongs to the test process. One at a time in a process; not while other threads use the
// library.
class TestHome {
 public:
  TestHome();
  ~TestHome();
  TestHome(const TestHome&) = delete;
  TestHome& operator=(const TestHome&) = delete;

  // A text value below the product key; makes the keys.
  void SetSetting(TextView sub_key, TextView name, TextView text) const;
  void RemoveSetting(TextView sub_key, TextView name) const;
  std::optional<Text> Setting(TextView sub_key, TextView name) const;

  // All settings of an account, in their stored forms, and the application path
  // kTestApplicationPath.
  void SetAccount(TextView host, TextView user, TextView password,
                  const AccountOptions& options = {}) const;

  // Folders end in a backslash. Neither is made here.
  Text LogFolder() const;
  Text CacheFolder(TextView user) const;

  // A log's text without its byte-order mark; empty when there is none. Lines end in "\r\n".
  Text LogText(TextView file_name) const;
  // Whether one of the log's lines is, or (for level lines) ends in, exactly this.
  bool LogHasLine(TextView file_name, TextView line) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Every code raised by 20, as secrets are stored.
Text RaiseBy20(TextView text);

// nullopt when the file is missing.
std::optional<std::string> ReadFileBytes(TextView path);
// Makes the folders that are missing; replaces what was there.
void WriteFileBytes(TextView path, std::string_view bytes);

class HomeTest : public ::testing::Test {
 protected:
  TestHome home_;
};

}  // namespace zv::testing
