// Typed printf-style formatting of UTF-16 text, with the product's sizes on every system:
// %d, %i, %u, %x, %X, %c, %ld, %lu are 32 bits wide (a wider argument keeps its low 32 bits),
// %I64d, %I64u, %lld are 64 bits wide, %s and %ls take UTF-16 text, %f and %g a double, %% a
// percent sign. Flags "-", "0", "+", " ", width and precision work as in C (a precision cuts a
// text). Any thread. A missing argument, or one of the wrong kind, prints as nothing.
#pragma once

#include <concepts>
#include <cstdint>
#include <span>
#include <type_traits>
#include <variant>

#include "platform/text.h"

namespace zv {

// One argument: a whole number (sign-extended to 64 bits), a floating-point number or a text.
class FormatArg {
 public:
  template <typename T>
  requires std::integral<T> FormatArg(T value)
      : value_(static_cast<int64_t>(value)) {}  // NOLINT(google-explicit-constructor)
  template <typename T>
  requires std::is_enum_v<T> FormatArg(T value)
      : value_(static_cast<int64_t>(value)) {}               // NOLINT(google-explicit-constructor)
  FormatArg(double value) : value_(value) {}                 // NOLINT(google-explicit-constructor)
  FormatArg(TextView value) : value_(value) {}               // NOLINT(google-explicit-constructor)
  FormatArg(const Text& value) : value_(TextView(value)) {}  // NOLINT(google-explicit-constructor)
  FormatArg(const char16_t* value)                           // NOLINT(google-explicit-constructor)
      : value_(value ? TextView(value) : TextView()) {}

  const std::variant<int64_t, double, TextView>& value() const { return value_; }

 private:
  std::variant<int64_t, double, TextView> value_;
};

Text FormatText(TextView format, std::span<const FormatArg> args);

// Format(u"%s has been deleted.", path)
template <typename... Args>
Text Format(TextView format, const Args&... args) {
  if constexpr (sizeof...(Args) == 0) {
    return FormatText(format, {});
  } else {
    const FormatArg list[] = {FormatArg(args)...};
    return FormatText(format, list);
  }
}

}  // namespace zv
