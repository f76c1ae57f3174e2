// What can go wrong at the seam, and the system's words for it.
//
// Doors report an expected failure (a file that is not there) by their result and set the calling
// thread's last error; they throw an Error when a step fails in the middle of its work. Lack of
// memory is std::bad_alloc, as everywhere.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "platform/text.h"

namespace zv {

enum class ErrorKind { kFile, kInternet, kOther };

class Error : public std::exception {
 public:
  // code: the system's (Windows numbers on Windows, WinINet numbers 12xxx for the internet on both
  // systems, errno otherwise on Linux). text: the system's text for it, without a line end.
  Error(ErrorKind kind, uint32_t code, Text text);

  ErrorKind kind() const { return kind_; }
  uint32_t code() const { return code_; }
  const Text& text() const { return text_; }
  const char* what() const noexcept override { return what_.c_str(); }

 private:
  ErrorKind kind_;
  uint32_t code_;
  Text text_;
  std::string what_;
};

// The calling thread's last error code. On Linux it is kept by the doors, not taken from errno.
uint32_t LastError();
void SetLastError(uint32_t code);

// Codes that the logic above compares or sets, in the system's own numbers.
extern const uint32_t kErrorFileNotFound;
extern const uint32_t kErrorPathNotFound;  // a folder on the way to the file is missing, or none
extern const uint32_t kErrorAlreadyExists;
extern const uint32_t kErrorDiskFull;

// Whether the code says that the system itself gave out (no memory, too many open files, a disk
// that fails), which tells nothing of the file that was asked for.
bool IsSystemFailure(uint32_t code);

// Codes of the internet client.
constexpr bool IsInternetCode(uint32_t code) { return code >= 12000 && code < 13000; }

// The system's text for an error code, for internet codes the client's, without a line end; empty
// when there is none.
Text SystemErrorText(uint32_t code);

// Resource text 2000: what is said when the system has no text.
inline constexpr TextView kUnknownErrorText = u"An unknown error has occurred.";

// Text of the calling thread's last error from the system's own message table; kUnknownErrorText
// when that has none, as it is for internet codes.
Text GetLastErrorText();

// Throws an Error of the kind with the calling thread's last error and its text, or
// kUnknownErrorText.
[[noreturn]] void ThrowLastError(ErrorKind kind);

}  // namespace zv
