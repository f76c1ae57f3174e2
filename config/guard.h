// The one pattern by which a public operation fails closed: each kind of failure is caught apart
// and handed to a handler that writes its line; the operation's neutral result is returned.
#pragma once

#include <utility>

#include "platform/error.h"

namespace zv {

// What was caught. text: the failure's own words, at most 260 units; for anything unknown the
// system's text for the last error.
struct Failure {
  enum class Kind { kMemory, kInternet, kFile, kOther, kUnknown };
  Kind kind = Kind::kUnknown;
  Text text;
  // File, system and internet failures and lack of memory carry words of their own.
  bool is_known() const { return kind != Kind::kUnknown; }
};

// The exception being handled, as a Failure. Call inside a catch block only.
Failure CurrentFailure() noexcept;

// return Guarded(false, [&] { ...steps... }, [&](const Failure& failure) { ...one line... });
template <typename Result, typename Body, typename OnFailure>
Result Guarded(Result neutral, Body&& body, OnFailure&& on_failure) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    try {
      std::forward<OnFailure>(on_failure)(CurrentFailure());
    } catch (...) {
      // Writing the line failed as well (no memory): the neutral result still stands.
    }
    return neutral;
  }
}

// The same for steps without a result.
template <typename Body, typename OnFailure>
void Guarded(Body&& body, OnFailure&& on_failure) noexcept {
  const auto run = [&] {
    std::forward<Body>(body)();
    return true;
  };
  Guarded(false, run, std::forward<OnFailure>(on_failure));
}

// The same where nothing is to be written: what cannot be had reads as the neutral result.
template <typename Result, typename Body>
Result GuardedQuietly(Result neutral, Body&& body) noexcept {
  return Guarded(std::move(neutral), std::forward<Body>(body), [](const Failure&) {});
}

template <typename Body>
void GuardedQuietly(Body&& body) noexcept {
  Guarded(std::forward<Body>(body), [](const Failure&) {});
}

}  // namespace zv
