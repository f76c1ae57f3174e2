// What a fuzz target holds to be true whatever the input.
#pragma once

#include <cstdlib>

namespace zv::testing {

// Ends the program, which the fuzzer takes as a find, when the condition does not hold.
inline void Require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace zv::testing
