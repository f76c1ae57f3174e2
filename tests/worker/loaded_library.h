// The built library, loaded at run time as a host program does: on Windows by ordinal only.
#pragma once

#include "include/zvworker/zvworker.h"

namespace zv::testing {

class LoadedLibrary {
 public:
  // Throws std::runtime_error when it cannot be loaded. It stays loaded for the life of the
  // process.
  LoadedLibrary();

  // Throws when there is no such export.
  template <typename Function>
  Function* Find(uint16_t ordinal, const char* name) const {
    return reinterpret_cast<Function*>(FindAddress(ordinal, name));
  }

 private:
  void* FindAddress(uint16_t ordinal, const char* name) const;
  void* module_;
};

// Every export under its name and ordinal.
struct WorkerLibrary : LoadedLibrary {
#define ZV_EXPORT(ordinal, name) decltype(::name)* name = Find<decltype(::name)>(ordinal, #name)
  ZV_EXPORT(100, CreateNewDrive);
  ZV_EXPORT(102, DeleteNewDrive);
  ZV_EXPORT(104, StartPolling);
  ZV_EXPORT(106, GetDriveConnection);
  ZV_EXPORT(404, GetInternetDetails);
  ZV_EXPORT(504, WrapperUpdate);
  ZV_EXPORT(506, GetFolderSize);
  ZV_EXPORT(508, IsListingFileExist);
  ZV_EXPORT(509, DeleteListingFile);
  ZV_EXPORT(510, GetUsedSpace);
  ZV_EXPORT(511, DeleteCache);
  ZV_EXPORT(604, ResetProgressDetails);
  ZV_EXPORT(610, CheckLastModifiedTime);
#undef ZV_EXPORT
};

}  // namespace zv::testing
