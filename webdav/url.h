// Server paths on the wire. Any thread.
#pragma once

#include "platform/text.h"

namespace zv {

// The UTF-8 form with every byte but ASCII letters, digits and "/" as "%XX" (RFC 3986, section 2.1,
// which would let more through: the server is asked in exactly this form). "\" counts as "/".
Text PercentEncodePath(TextView path);

// The folder of an account, as the server has it.
Text AccountRoot(const Text& user);

}  // namespace zv
