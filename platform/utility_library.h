// The utility library of sync accounts, "ZVUtil": its entry points, bound at first use, so that
// everything else runs without it. Windows: ZVUtil.dll, by ordinal, from the program's or the
// worker's folder or the system's search path. Linux: libzvutil.so, by symbol, as the system finds
// libraries.
//
// Any thread; the library itself is to be called by one thread at a time for one account, since it
// reads its paths from journal files of fixed names.
#pragma once

#include <cstdint>

#include "platform/text.h"

namespace zv {

// Zero-terminated UTF-16 texts, in this order: the journals' path separator, sync user, password in
// clear, key setting in clear, application server, web server, key type ("DEFAULT" or "PRIVATE").
// Non-zero: done.
using UtilityCall = int32_t (*)(const char16_t* separator, const char16_t* user,
                                const char16_t* password, const char16_t* key,
                                const char16_t* app_server, const char16_t* web_server,
                                const char16_t* key_type);
// The same; entries receives the library's array of 584-byte directory entries, ended by the
// last-entry flag, which stays valid until the calling thread's next listing or release.
using UtilityListCall = int32_t (*)(const char16_t* separator, const char16_t* user,
                                    const char16_t* password, const char16_t* key,
                                    const char16_t* app_server, const char16_t* web_server,
                                    const char16_t* key_type, void** entries);
// Releases the calling thread's last listing.
using UtilityReleaseCall = void (*)();

struct UtilityEntry {
  uint16_t ordinal;
  const char* symbol;
};
inline constexpr UtilityEntry kUtilityList = {511, "ZVUtilListFolder"};
inline constexpr UtilityEntry kUtilityRelease = {730, "ZVUtilReleaseListing"};
inline constexpr UtilityEntry kUtilityDownload = {713, "ZVUtilDownload"};
inline constexpr UtilityEntry kUtilityUpload = {712, "ZVUtilUpload"};
inline constexpr UtilityEntry kUtilityCreateFolder = {734, "ZVUtilCreateFolder"};
inline constexpr UtilityEntry kUtilityRename = {716, "ZVUtilRename"};
inline constexpr UtilityEntry kUtilityDelete = {715, "ZVUtilDelete"};

// A member is null where the library, or this entry point of it, is missing.
struct UtilityLibrary {
  UtilityListCall list = nullptr;
  UtilityReleaseCall release = nullptr;
  UtilityCall download = nullptr;
  UtilityCall upload = nullptr;
  UtilityCall create_folder = nullptr;
  UtilityCall rename = nullptr;
  UtilityCall remove = nullptr;
};

// Loads the library unless that was done or tried. retry: tries again after a failure. failure
// (optional) receives the system's words for why the library is not there, or stays empty.
UtilityLibrary GetUtilityLibrary(bool retry = false, Text* failure = nullptr);

namespace testing {
// From now on these entry points stand for the library's; null: the library itself again.
void SetUtilityLibrary(const UtilityLibrary* library);
}  // namespace testing

}  // namespace zv
