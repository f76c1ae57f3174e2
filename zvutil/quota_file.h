// The quota file of a sync account: <sync data folder>\ZVCOMMON\quota.ini, whose used space the
// worker shows. Any thread.
#pragma once

#include <cstdint>

#include "platform/text.h"

namespace zv {

// The text of an initialisation file with this entry set: in its place when it is there, else at
// the end of its section, which is added when it is missing. Everything else stays as it is. Names
// are case-blind.
Text WithProfileEntry(TextView file_text, TextView section, TextView key, TextView value);

// Makes folder and file when they are missing; the file is replaced in one step. False, with
// LastError(), when that cannot be done. May throw Error(kFile).
bool StoreSyncUsedQuota(int64_t used_bytes);

}  // namespace zv
