/* The public header as a C program sees it. */
#include "include/zvworker/zvworker.h"

#ifdef __MINGW32__
#include <windows.h>
_Static_assert(sizeof(ZvNetResource) == sizeof(NETRESOURCEW), "the platform's record");
_Static_assert(offsetof(ZvNetResource, local_name) == offsetof(NETRESOURCEW, lpLocalName), "name");
_Static_assert(offsetof(ZvNetResource, remote_name) == offsetof(NETRESOURCEW, lpRemoteName),
               "name");
_Static_assert(sizeof(ZvFindData) == sizeof(WIN32_FIND_DATAW), "the platform's record");
_Static_assert(offsetof(ZvFindData, name) == offsetof(WIN32_FIND_DATAW, cFileName), "name");
#endif

_Static_assert(sizeof(ZvChar) == 2, "a UTF-16 unit");
_Static_assert(sizeof(ZvFindData) == 592, "the find-data record");
_Static_assert(sizeof(void*) != 8 || sizeof(ZvNetResource) == 48, "the network resource");

uint64_t UsedSpaceFromC(void);
uint64_t UsedSpaceFromC(void) { return GetUsedSpace(); }
