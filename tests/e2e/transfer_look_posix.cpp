#include "include/zvworker/zvworker.h"
#include "tests/e2e/transfer_look.h"

namespace zv::testing {

TransferLook LookAtTransfer() {
  TransferLook look;
  ZvChar name[260] = {};
  uint32_t elapsed = 0;
  const int32_t kind =
      GetInternetDetails(name, &look.done, &look.total, &elapsed, ZV_READ_PROGRESS);
  look.is_download = kind == ZV_DOWNLOAD;
  look.name = name;
  return look;
}

}  // namespace zv::testing
