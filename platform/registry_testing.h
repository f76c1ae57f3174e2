// What tests need of the registry beyond the product's own calls. Any thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/text.h"

namespace zv::testing {

// Writes a value under the machine's hive, making the key with its parents; false with LastError().
bool WriteMachineValue(TextView path, TextView name, uint32_t type, std::string_view data);

// Removes a value of a key under the current user; false with LastError() when either is not there.
bool RemoveUserValue(TextView path, TextView name);

// Remove a key with its values and everything below it from the current user's or the machine's
// hive; false with LastError() when it is not there.
bool RemoveUserTree(TextView path);
bool RemoveMachineTree(TextView path);

}  // namespace zv::testing
