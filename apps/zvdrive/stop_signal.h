// Ctrl-C and the system's request to end, as a question.
#pragma once

namespace zv {

// From now on Ctrl-C (and a request to terminate) only set a flag.
void CatchStopSignals();
bool StopWasAsked();

}  // namespace zv
