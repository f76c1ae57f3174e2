// The two forms of dates in the server's replies. Fields are read by position; the zone is UTC
// whatever the text says. A text that is too short, or no date after 1600, gives 0. Any thread.
#pragma once

#include "platform/clock.h"
#include "platform/text.h"

namespace zv {

// YYYY-MM-DDThh:mm:ss... (ISO 8601)
Seconds1601 ParseCreationDate(TextView text);
// Www, DD Mon YYYY hh:mm:ss GMT (RFC 1123)
Seconds1601 ParseLastModified(TextView text);

}  // namespace zv
