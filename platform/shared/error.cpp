#include "platform/error.h"

#include <utility>

namespace zv {

Error::Error(ErrorKind kind, uint32_t code, Text text)
    : kind_(kind), code_(code), text_(std::move(text)), what_(ToUtf8(text_)) {}

Text GetLastErrorText() {
  Text text = SystemErrorText(LastError());
  return text.empty() ? Text(kUnknownErrorText) : text;
}

void ThrowLastError(ErrorKind kind) {
  const uint32_t code = LastError();
  throw Error(kind, code, GetLastErrorText());
}

}  // namespace zv
