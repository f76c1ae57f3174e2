#include "config/guard.h"

#include <new>

namespace zv {
namespace {

constexpr size_t kLongestFailureText = 260;  // units

Failure::Kind KindOf(ErrorKind kind) {
  switch (kind) {
    case ErrorKind::kFile:
      return Failure::Kind::kFile;
    case ErrorKind::kInternet:
      return Failure::Kind::kInternet;
    case ErrorKind::kOther:
      break;
  }
  return Failure::Kind::kOther;
}

Failure Describe() {
  try {
    throw;
  } catch (const Error& error) {
    return {KindOf(error.kind()), error.text().substr(0, kLongestFailureText)};
  } catch (const std::bad_alloc&) {
    return {Failure::Kind::kMemory, u"Out of memory."};
  } catch (...) {
    return {Failure::Kind::kUnknown, GetLastErrorText().substr(0, kLongestFailureText)};
  }
}

}  // namespace

Failure CurrentFailure() noexcept {
  try {
    return Describe();
  } catch (...) {
    return {Failure::Kind::kMemory, {}};
  }
}

}  // namespace zv
