// A host program of the library, in a process of its own.
//   library_host serve        creates the drive Y: for "user" with "secret" and serves it until it
//   is deleted library_host cancel NAME  waits for a download; it must be this one, and is asked to
//   stop library_host used BYTES   the used space must be so much
#include <chrono>
#include <string>
#include <string_view>
#include <thread>

#include "tests/worker/loaded_library.h"

namespace {

using zv::testing::WorkerLibrary;

int Serve(const WorkerLibrary& library) {
  std::u16string local_name = u"Y:";
  std::u16string remote_name = u"\\\\cirrux\\drive";
  ZvNetResource resource{};
  resource.local_name = local_name.data();
  resource.remote_name = remote_name.data();
  if (library.CreateNewDrive(&resource, u"secret", u"user") != ZV_SUCCESS) return 1;
  return library.StartPolling() == 0 ? 0 : 1;
}

int Cancel(const WorkerLibrary& library, std::string_view expected) {
  ZvChar name[260] = {};
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (library.GetInternetDetails(name, nullptr, nullptr, nullptr, ZV_READ_PROGRESS) == ZV_IDLE) {
    if (std::chrono::steady_clock::now() > patience) return 1;
    std::this_thread::yield();
  }
  // The first look may have fallen between two updates: the kind of one and the name before it.
  library.GetInternetDetails(name, nullptr, nullptr, nullptr, ZV_READ_PROGRESS);
  if (std::u16string_view(name) != std::u16string(expected.begin(), expected.end())) return 1;
  const int32_t kind =
      library.GetInternetDetails(name, nullptr, nullptr, nullptr, ZV_CANCEL_TRANSFER);
  return kind == ZV_DOWNLOAD ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) return 2;
  const std::string_view role = arguments[1];
  const WorkerLibrary library;
  if (role == "serve") return Serve(library);
  if (count < 3) return 2;
  if (role == "cancel") return Cancel(library, arguments[2]);
  if (role == "used") return library.GetUsedSpace() == std::stoull(arguments[2]) ? 0 : 1;
  return 2;
}
