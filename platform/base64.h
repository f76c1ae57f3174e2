// Base64 (RFC 4648, section 4): standard alphabet, padded with "=". Any thread.
#pragma once

#include <string>
#include <string_view>

namespace zv {

std::string EncodeBase64(std::string_view bytes);

}  // namespace zv
