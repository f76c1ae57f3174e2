#include "tests/e2e/transfer_look.h"
#include "tests/worker/loaded_library.h"

namespace zv::testing {

TransferLook LookAtTransfer() {
  static const WorkerLibrary library;
  TransferLook look;
  ZvChar name[260] = {};
  uint32_t elapsed = 0;
  const int32_t kind =
      library.GetInternetDetails(name, &look.done, &look.total, &elapsed, ZV_READ_PROGRESS);
  look.is_download = kind == ZV_DOWNLOAD;
  look.name = name;
  return look;
}

}  // namespace zv::testing
