/* A host in C: an account that was never set up has no drive, no transfer and no used space. */
#include <stdio.h>
#include <zvworker/zvworker.h>

int main(void) {
  const ZvChar drive[] = {'Y', ':', 0};
  ZvChar name[260] = {'?', 0};
  const uint32_t connection = GetDriveConnection(drive, NULL, NULL);
  const int32_t transfer = GetInternetDetails(name, NULL, NULL, NULL, ZV_READ_PROGRESS);
  const uint64_t used = GetUsedSpace();
  printf("connection %u, transfer %d, used %u\n", (unsigned)connection, (int)transfer,
         (unsigned)used);
  return connection == ZV_NO_NETWORK && transfer == ZV_IDLE && name[0] == 0 && used == 0 ? 0 : 1;
}
