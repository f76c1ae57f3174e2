// How every handler fails: one line in the poll log, and nothing leaves it.
#pragma once

#include <optional>
#include <utility>

#include "config/guard.h"
#include "driver/event_polling.h"
#include "platform/text.h"

namespace zv {

struct HandlerTexts {
  // For a failure with words of its own: takes the subject, when there is one, and them.
  TextView error;
  // For any other.
  TextView exception;
};

template <typename Body>
void GuardHandler(CEventPolling& polling, const HandlerTexts& texts,
                  std::optional<TextView> subject, Body&& body) {
  const auto log = [&](const Failure& failure) {
    if (!failure.is_known()) {
      polling.poll_log().WriteTraceText(texts.exception);
    } else if (subject) {
      polling.poll_log().WriteTrace(texts.error, *subject, failure.text);
    } else {
      polling.poll_log().WriteTrace(texts.error, failure.text);
    }
  };
  Guarded(std::forward<Body>(body), log);
}

}  // namespace zv
