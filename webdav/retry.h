// Process-wide retry settings of the login probe, the download and the upload. Any thread.
#pragma once

#include <cstdint>

namespace zv {

// Attempts in all; 3 once connection settings were read.
int16_t RetryCount();
// Pause between attempts, ms; 5000 once connection settings were read.
int16_t RetryWait();
void SetRetrySettings(int16_t count, int16_t wait_ms);

}  // namespace zv
