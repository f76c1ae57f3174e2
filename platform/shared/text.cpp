#include "platform/text.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <limits>
#include <type_traits>

#include "platform/shared/case_table.h"

namespace zv {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void AppendUtf8(char32_t point, std::string* out) {
  const auto byte = [out](char32_t value) { out->push_back(static_cast<char>(value)); };
  if (point < 0x80) {
    byte(point);
  } else if (point < 0x800) {
    byte(0xC0 | (point >> 6));
    byte(0x80 | (point & 0x3F));
  } else if (point < 0x10000) {
    byte(0xE0 | (point >> 12));
    byte(0x80 | ((point >> 6) & 0x3F));
    byte(0x80 | (point & 0x3F));
  } else {
    byte(0xF0 | (point >> 18));
    byte(0x80 | ((point >> 12) & 0x3F));
    byte(0x80 | ((point >> 6) & 0x3F));
    byte(0x80 | (point & 0x3F));
  }
}

void AppendUtf16(char32_t point, Text* out) {
  if (point < 0x10000) {
    out->push_back(static_cast<char16_t>(point));
  } else {
    out->push_back(static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)));
    out->push_back(static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF)));
  }
}

struct Sequence {
  char32_t point = kReplacement;
  size_t length = 1;
};

// The bounds of the second byte keep out overlong forms, surrogates and points past U+10FFFF
// (RFC 3629, section 4).
struct LeadByte {
  size_t length;
  unsigned char second_min, second_max;
};

LeadByte ClassifyLead(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) return {2, 0x80, 0xBF};
  if (lead == 0xE0) return {3, 0xA0, 0xBF};
  if (lead == 0xED) return {3, 0x80, 0x9F};
  if (lead >= 0xE1 && lead <= 0xEF) return {3, 0x80, 0xBF};
  if (lead == 0xF0) return {4, 0x90, 0xBF};
  if (lead >= 0xF1 && lead <= 0xF3) return {4, 0x80, 0xBF};
  if (lead == 0xF4) return {4, 0x80, 0x8F};
  return {0, 0, 0};
}

// The sequence that begins with a byte of 0x80 or more.
Sequence DecodeSequence(std::string_view bytes) {
  const auto at = [bytes](size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const LeadByte lead = ClassifyLead(at(0));
  if (lead.length == 0 || bytes.size() < lead.length) return {};
  if (at(1) < lead.second_min || at(1) > lead.second_max) return {};
  char32_t point = at(0) & (0x7Fu >> lead.length);
  for (size_t i = 1; i < lead.length; ++i) {
    if ((at(i) & 0xC0) != 0x80) return {};
    point = (point << 6) | (at(i) & 0x3Fu);
  }
  return {point, lead.length};
}

// Nearly every text is ASCII nearly everywhere, and some are megabytes long: appends what is ASCII
// from `at` on in one go and gives the position behind it.
template <typename To, typename From>
size_t AppendAscii(std::basic_string_view<From> text, size_t at, std::basic_string<To>* out) {
  const auto begin = text.begin() + static_cast<ptrdiff_t>(at);
  const auto end = std::find_if(begin, text.end(), [](From unit) {
    return static_cast<std::make_unsigned_t<From>>(unit) >= 0x80;
  });
  const size_t old_size = out->size();
  out->resize(old_size + static_cast<size_t>(end - begin));
  std::transform(begin, end, out->begin() + static_cast<ptrdiff_t>(old_size),
                 [](From unit) { return static_cast<To>(unit); });
  return static_cast<size_t>(end - text.begin());
}

bool IsSpace(char16_t unit) { return unit == u' ' || (unit >= u'\t' && unit <= u'\r'); }

template <typename Int>
Int ParseInt(TextView text) {
  size_t i = 0;
  while (i < text.size() && IsSpace(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) negative = text[i++] == u'-';
  constexpr uint64_t kMax = static_cast<uint64_t>(std::numeric_limits<Int>::max());
  const uint64_t limit = negative ? kMax + 1 : kMax;
  uint64_t value = 0;
  for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i) {
    const uint64_t digit = text[i] - u'0';
    if (value > (limit - digit) / 10) {
      value = limit;
      break;
    }
    value = value * 10 + digit;
  }
  return static_cast<Int>(negative ? 0 - value : value);
}

}  // namespace

std::string ToUtf8(TextView text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = AppendAscii(text, 0, &out); i < text.size(); i = AppendAscii(text, i + 1, &out)) {
    const char16_t unit = text[i];
    if (IsHighSurrogate(unit) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
      const char32_t low = text[++i];
      AppendUtf8(0x10000 + ((static_cast<char32_t>(unit) - 0xD800) << 10) + (low - 0xDC00), &out);
    } else {
      AppendUtf8(IsHighSurrogate(unit) || IsLowSurrogate(unit) ? kReplacement : unit, &out);
    }
  }
  return out;
}

Text FromUtf8(std::string_view bytes) {
  Text out;
  out.reserve(bytes.size());
  for (size_t i = AppendAscii(bytes, 0, &out); i < bytes.size();) {
    const Sequence sequence = DecodeSequence(bytes.substr(i));
    AppendUtf16(sequence.point, &out);
    i = AppendAscii(bytes, i + sequence.length, &out);
  }
  return out;
}

char16_t ToLower(char16_t unit) {
  if (unit < 0x80) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 0x20) : unit;
  }
  return LowerFromTable(unit);
}

Text ToLower(TextView text) {
  Text out(text);
  for (char16_t& unit : out) unit = ToLower(unit);
  return out;
}

int CompareNoCase(TextView a, TextView b) {
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    if (a[i] == b[i]) continue;
    const char16_t left = ToLower(a[i]);
    const char16_t right = ToLower(b[i]);
    if (left != right) return left < right ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

bool EqualsNoCase(TextView a, TextView b) {
  return a.size() == b.size() && CompareNoCase(a, b) == 0;
}

Text ReplaceAll(TextView text, char16_t from, char16_t to) {
  Text out(text);
  std::replace(out.begin(), out.end(), from, to);
  return out;
}

Text Trim(TextView text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
  return Text(text);
}

int32_t ParseInt32(TextView text) { return ParseInt<int32_t>(text); }
int64_t ParseInt64(TextView text) { return ParseInt<int64_t>(text); }

std::string ToUtf16LeBytes(TextView text) {
  // The order of bytes in memory on every system that this runs on.
  static_assert(std::endian::native == std::endian::little);
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

Text FromUtf16LeBytes(std::string_view bytes) {
  Text out(bytes.size() / sizeof(char16_t), u'\0');
  if (!out.empty()) std::memcpy(out.data(), bytes.data(), out.size() * sizeof(char16_t));
  return out;
}

}  // namespace zv
