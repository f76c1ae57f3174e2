#include "platform/error.h"

#include <utility>

namespace zv {

Error::Error(ErrorKind kind, uint32_t code, Text text)
    : kind_(kind), code_(code), text_(std::move(text)), what_(ToUtf8(text_)) {}

Text GetLastErrorText() {
  const uint32_t code = LastError();
  Text text = IsInternetCode(code) ? Text() : SystemErrorText(code);
  return text.empty() ? Text(kUnknownErrorText) : text;
}

void ThrowLastError(ErrorKind kind) {
  const uint32_t code = LastError();
  Text text = SystemErrorText(code);
  throw Error(kind, code, text.empty() ? Text(kUnknownErrorText) : std::move(text));
}

}  // namespace zv
