#include "apps/zvdrive/cancel_transfer.h"

#include <array>

#include "include/zvworker/zvworker.h"
#include "worker/host_services.h"

namespace zv {

// A request by the empty name meets the next attempt, which may begin just now: it is asked by its
// own name as well.
void AskToCancel(Text name) {
  if (EqualsNoCase(UploadBetweenAttempts(), name)) {
    std::array<ZvChar, kTransferNameUnits> no_name{};
    GetInternetDetails(no_name.data(), nullptr, nullptr, nullptr, ZV_CANCEL_TRANSFER);
  }
  GetInternetDetails(name.data(), nullptr, nullptr, nullptr, ZV_CANCEL_TRANSFER);
}

}  // namespace zv
