// The dates of listings and replies: any text gives 0 or a time that reads the same when written
// anew.
#include "platform/format.h"
#include "tests/fuzz/require.h"
#include "webdav/dates.h"

namespace {

using zv::testing::Require;

zv::CalendarTime CalendarOf(zv::Seconds1601 time) {
  zv::CalendarTime utc;
  Require(time.value >= 0);
  Require(zv::FileTimeToCalendar(zv::ToFileTime(time), &utc));
  return utc;
}

void CheckCreationDate(zv::TextView text) {
  const zv::Seconds1601 time = zv::ParseCreationDate(text);
  const zv::CalendarTime utc = CalendarOf(time);
  const zv::Text again = zv::Format(u"%04d-%02d-%02dT%02d:%02d:%02dZ", utc.year, utc.month, utc.day,
                                    utc.hour, utc.minute, utc.second);
  Require(zv::ParseCreationDate(again) == time);
}

void CheckLastModified(zv::TextView text) {
  constexpr zv::TextView kMonths = u"JanFebMarAprMayJunJulAugSepOctNovDec";
  const zv::Seconds1601 time = zv::ParseLastModified(text);
  const zv::CalendarTime utc = CalendarOf(time);
  const zv::TextView month = kMonths.substr(static_cast<size_t>(utc.month - 1) * 3, 3);
  const zv::Text again = zv::Format(u"Www, %02d %s %04d %02d:%02d:%02d GMT", utc.day, month,
                                    utc.year, utc.hour, utc.minute, utc.second);
  Require(zv::ParseLastModified(again) == time);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const zv::Text text = zv::FromUtf8({reinterpret_cast<const char*>(data), size});
  CheckCreationDate(text);
  CheckLastModified(text);
  return 0;
}
