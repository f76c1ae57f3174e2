#include "platform/shell.h"

#include <windows.h>

#include <dbt.h>
#include <shlobj.h>

#include "platform/win32/wide.h"

namespace zv {
namespace {

HWND ToWindow(WindowHandle handle) { return reinterpret_cast<HWND>(handle); }
WindowHandle FromWindow(HWND window) { return reinterpret_cast<WindowHandle>(window); }

}  // namespace

static_assert(kShellRenameItem == SHCNE_RENAMEITEM);
static_assert(kShellCreateItem == SHCNE_CREATE);
static_assert(kShellDeleteItem == SHCNE_DELETE);
static_assert(kShellMakeDirectory == SHCNE_MKDIR);
static_assert(kShellUpdateItem == SHCNE_UPDATEITEM);
static_assert(SHCNF_PATHW == 5);

void NotifyShellChange(uint32_t event, TextView first_path, TextView second_path) {
  const std::wstring first = ToWide(first_path);
  const std::wstring second = ToWide(second_path);
  SHChangeNotify(static_cast<LONG>(event), SHCNF_PATHW, first.c_str(),
                 second.empty() ? nullptr : second.c_str());
}

bool ShellHearsOf(uint32_t) { return true; }

WindowHandle FindTopWindow(TextView title) {
  return FromWindow(FindWindowW(nullptr, ToWide(title).c_str()));
}

WindowHandle FindChildWindow(WindowHandle parent, TextView class_name) {
  return FromWindow(FindWindowExW(ToWindow(parent), nullptr, ToWide(class_name).c_str(), nullptr));
}

bool PostWindowMessage(WindowHandle window, uint32_t message, uintptr_t first, uintptr_t second) {
  return PostMessageW(ToWindow(window), message, first, static_cast<LPARAM>(second)) != FALSE;
}

void BroadcastVolumeChange(uint32_t event, char16_t drive_letter) {
  constexpr DWORD kHow = BSF_IGNORECURRENTTASK | BSF_NOHANG | BSF_POSTMESSAGE;
  static_assert(kHow == 0x1A && WM_DEVICECHANGE == 0x219 && sizeof(DEV_BROADCAST_VOLUME) == 20);
  DEV_BROADCAST_VOLUME record = {};
  record.dbcv_size = sizeof record;
  record.dbcv_devicetype = DBT_DEVTYP_VOLUME;
  record.dbcv_unitmask = DWORD{1} << ((drive_letter - u'A') & 31);  // letters of both cases alike
  record.dbcv_flags = DBTF_NET;
  DWORD recipients = BSM_ALLCOMPONENTS;
  BroadcastSystemMessageW(kHow, &recipients, WM_DEVICECHANGE, event,
                          reinterpret_cast<LPARAM>(&record));
}

Text LocalAppDataFolder() {
  static_assert(CSIDL_LOCAL_APPDATA == 28);
  wchar_t folder[MAX_PATH] = {};
  if (FAILED(SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder))) {
    return {};
  }
  Text text = FromWide(folder);
  if (text.ends_with(u'\\')) text.pop_back();
  return text;
}

}  // namespace zv
