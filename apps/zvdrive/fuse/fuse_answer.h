// What a callback answers: 0 or a count, or an errno below 0.
#pragma once

#include <string>
#include <utility>

#include "apps/zvdrive/drive/drive_error.h"
#include "platform/text.h"

namespace zv {

int ResultOf(DriveError error);

// Why a path is none of the drive's.
struct PathError {
  int error;
};
// A path of the mount as one of the drive; throws PathError when the drive cannot hold it.
Text PathOnDrive(const char* path);
// The other way round.
std::string PathOnMount(TextView path);

// For whatever is being handled.
int ResultOfException() noexcept;

template <typename Body>
int Answer(Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    return ResultOfException();
  }
}

}  // namespace zv
