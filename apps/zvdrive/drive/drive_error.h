// What an operation on the drive can answer.
#pragma once

#include <string>
#include <utility>

namespace zv {

enum class DriveError {
  kNone,
  kNotFound,
  kExists,
  kIo,         // the worker or the server failed; nothing is known
  kNoSpace,    // the disk beneath the cache is full
  kNotStored,  // the content is safe in the cache but not on the server yet
  kTooBig,     // 2 GiB or more
  kNotEmpty,
  kIsFolder,
  kNotFolder,
  kInvalidName,  // a name that the drive cannot hold
  kNameTooLong,
  kNotUnique,     // another file already goes by the same name in the cache
  kIntoItself,    // a folder into its own subtree
  kNotPermitted,  // not on the root
  kInterrupted,   // nothing was done: who asked did not want to wait any longer
};

// In words for a person.
std::string DescribeError(DriveError error);

template <typename T>
struct DriveResult {
  DriveError error = DriveError::kNone;
  T value{};

  DriveResult(T result) : value(std::move(result)) {}  // NOLINT(google-explicit-constructor)
  DriveResult(DriveError failure) : error(failure) {}  // NOLINT(google-explicit-constructor)
  explicit operator bool() const { return error == DriveError::kNone; }
};

}  // namespace zv
