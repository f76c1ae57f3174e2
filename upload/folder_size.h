// The question for a folder's size, and the script server's answer.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/text.h"

namespace zv {

// What the script server is asked for. User and password stand there as they are.
Text FolderSizeObject(TextView user, TextView password, TextView encoded_folder);

// The decimal number of kilobytes that the text begins with, as bytes; 0 when there is none.
uint64_t BytesFromKilobyteText(std::string_view text);

}  // namespace zv
