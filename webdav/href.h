// Names as the server's replies write them. Any thread.
#pragma once

#include "platform/text.h"

namespace zv {

// Undoes the percent-encoding (RFC 3986) and reads the bytes as UTF-8, up to the first zero byte. A
// "%" without two hexadecimal digits stays as it is. Characters beyond ASCII, which came out of a
// reply read in the system's 8-bit page, are the bytes that they were made of, so that a server
// that does not escape UTF-8 is understood, too.
Text DecodeHref(TextView text);

}  // namespace zv
