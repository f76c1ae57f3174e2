// A sync account whose utility library writes down what it is called for.
#pragma once

#include <gtest/gtest.h>

#include <map>

#include "cache/sync_account.h"
#include "platform/clock_testing.h"
#include "tests/cache/cache_fixture.h"
#include "worker/progress.h"

namespace zv::testing {
inline constexpr TextView kSyncFolder = u"C:\\Stratel Drive";

// A stand-in for the utility library that writes down its calls, with the journals as they stood
// then.
struct Recorder {
  struct Call {
    uint16_t ordinal = 0;
    std::vector<Text> arguments;
    std::map<Text, std::string> journals;
  };

  std::vector<Call> calls;
  int releases = 0;
  int32_t result = 1;
  std::vector<DirectoryEntry> listing;
  std::function<void()> effect;
};

inline Recorder* recorder = nullptr;

inline void Record(uint16_t ordinal, std::vector<Text> arguments) {
  Recorder::Call call{.ordinal = ordinal, .arguments = std::move(arguments), .journals = {}};
  for (const FileInfo& info : ListFolder(kSyncFolder)) {
    if (info.name.ends_with(u".txt")) {
      call.journals[info.name] = *ReadFileBytes(Text(kSyncFolder) + u"\\" + info.name);
    }
  }
  recorder->calls.push_back(std::move(call));
  if (recorder->effect) recorder->effect();
}

template <uint16_t ordinal>
int32_t Answer(const char16_t* separator, const char16_t* user, const char16_t* password,
               const char16_t* key, const char16_t* app_server, const char16_t* web_server,
               const char16_t* key_type) {
  Record(ordinal, {separator, user, password, key, app_server, web_server, key_type});
  return recorder->result;
}

inline int32_t AnswerList(const char16_t* separator, const char16_t* user, const char16_t* password,
                          const char16_t* key, const char16_t* app_server,
                          const char16_t* web_server, const char16_t* key_type, void** entries) {
  Record(511, {separator, user, password, key, app_server, web_server, key_type});
  *entries = recorder->listing.empty() ? nullptr : recorder->listing.data();
  return recorder->result;
}

inline void AnswerRelease() { ++recorder->releases; }

inline constexpr UtilityLibrary kStandIn = {.list = AnswerList,
                                            .release = AnswerRelease,
                                            .download = Answer<713>,
                                            .upload = Answer<712>,
                                            .create_folder = Answer<734>,
                                            .rename = Answer<716>,
                                            .remove = Answer<715>};

inline DirectoryEntry Entry(TextView name, bool folder, int64_t size) {
  DirectoryEntry entry;
  entry.SetName(name);
  entry.directory_flag = folder ? 1 : 0;
  entry.size = size;
  entry.creation_time = 100;
  entry.SetModified(200);
  return entry;
}

class SyncTest : public CacheTest {
 protected:
  SyncTest() : CacheTest({.account_type = u"ZVSYNC"}) {
    for (const auto& [name, value] :
         std::initializer_list<std::pair<TextView, Text>>{{u"ZVSync_usr", u"syncuser"},
                                                          {u"ZVSync_psd", RaiseBy20(u"pass:more")},
                                                          {u"u_ZVSync_enc", RaiseBy20(u"DEFAULT")},
                                                          {u"Appserver", u"app.example"},
                                                          {u"WebServer", u"web.example"}}) {
      home_.SetSetting(kConnectionSubKey, name, value);
    }
    recorder = &recorder_;
    SetUtilityLibrary(&kStandIn);
  }
  ~SyncTest() override {
    SetUtilityLibrary(nullptr);
    recorder = nullptr;
  }

  static Text Journal(TextView name) { return Text(kSyncFolder) + u"\\" + Text(name); }
  // The journal as the library saw it in its last call.
  Text JournalSeen(TextView name) const {
    const auto& journals = recorder_.calls.back().journals;
    const auto found = journals.find(Text(name));
    return found == journals.end() ? u"(none)" : FromUtf16LeBytes(found->second);
  }
  std::vector<uint16_t> Ordinals() const {
    std::vector<uint16_t> ordinals;
    for (const auto& call : recorder_.calls) ordinals.push_back(call.ordinal);
    return ordinals;
  }
  void SetListing(std::vector<DirectoryEntry> entries) {
    recorder_.listing = {Entry(u".", true, 0), Entry(u"..", true, 0)};
    recorder_.listing.front().last_entry = 1;
    for (DirectoryEntry& entry : entries) recorder_.listing.push_back(entry);
    recorder_.listing.back().last_entry = 1;
  }
  void BlockJournal(TextView name) { MakeFolders(Journal(name)); }
  static Text NoJournalLine(TextView name) {
    return u"Unable to create/open file " + Journal(name) + u". Reason: ";
  }
  bool JournalTold(TextView name) const { return Logged(NoJournalLine(name)); }
  bool JournalToldAsError(TextView name) const { return LoggedAsError(NoJournalLine(name)); }

  Recorder recorder_;
};

using List = std::vector<Text>;
using Calls = std::vector<uint16_t>;

}  // namespace zv::testing
