// The script server's answer to a question for a folder's size.
#pragma once

#include <cstdint>
#include <string_view>

namespace zv {

// The decimal number of kilobytes that the text begins with, as bytes; 0 when there is none.
uint64_t BytesFromKilobyteText(std::string_view text);

}  // namespace zv
