#include "webdav/dates.h"

namespace zv {
namespace {

// A field of digits at a position; -1, which no date accepts, when it is anything else.
int Field(TextView text, size_t position, size_t length) {
  if (text.size() < position + length) return -1;
  int value = 0;
  for (const char16_t unit : text.substr(position, length)) {
    if (unit < u'0' || unit > u'9') return -1;
    value = value * 10 + (unit - u'0');
  }
  return value;
}

// 1 to 12; 0 for what is no month.
int Month(TextView text, size_t position) {
  constexpr TextView kMonths[] = {u"Jan", u"Feb", u"Mar", u"Apr", u"May", u"Jun",
                                  u"Jul", u"Aug", u"Sep", u"Oct", u"Nov", u"Dec"};
  if (text.size() < position) return 0;
  int month = 0;
  for (const TextView name : kMonths) {
    ++month;
    if (EqualsNoCase(text.substr(position, name.size()), name)) return month;
  }
  return 0;
}

Seconds1601 ToSecondsOrZero(const CalendarTime& utc) {
  FileTime time;
  return CalendarToFileTime(utc, &time) ? ToSeconds(time) : Seconds1601();
}

}  // namespace

Seconds1601 ParseCreationDate(TextView text) {
  return ToSecondsOrZero({.year = Field(text, 0, 4),
                          .month = Field(text, 5, 2),
                          .day = Field(text, 8, 2),
                          .hour = Field(text, 11, 2),
                          .minute = Field(text, 14, 2),
                          .second = Field(text, 17, 2)});
}

Seconds1601 ParseLastModified(TextView text) {
  return ToSecondsOrZero({.year = Field(text, 12, 4),
                          .month = Month(text, 8),
                          .day = Field(text, 5, 2),
                          .hour = Field(text, 17, 2),
                          .minute = Field(text, 20, 2),
                          .second = Field(text, 23, 2)});
}

}  // namespace zv
