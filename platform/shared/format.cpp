#include "platform/format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>

namespace zv {
namespace {

struct Spec {
  bool left = false, zero = false, plus = false, blank = false;
  size_t width = 0;
  std::optional<size_t> precision;
  bool wide_int = false;    // 64 bits
  char16_t conversion = 0;  // 0: none known
};

// No text of the product comes near; keeps a broken format from eating the memory.
constexpr size_t kMaxWidth = 1'000'000;

class Parser {
 public:
  explicit Parser(TextView format) : format_(format) {}

  bool AtEnd() const { return position_ == format_.size(); }

  TextView TakeLiteral() {
    const size_t begin = position_;
    position_ = std::min(format_.find(u'%', begin), format_.size());
    return format_.substr(begin, position_ - begin);
  }

  // At a percent sign. source: the whole conversion as it is written.
  Spec TakeSpec(TextView* source) {
    const size_t begin = position_++;
    Spec spec;
    TakeFlags(&spec);
    spec.width = TakeNumber();
    if (Take(u".")) spec.precision = TakeNumber();
    TakeSize(&spec);
    if (!AtEnd()) spec.conversion = format_[position_++];
    *source = format_.substr(begin, position_ - begin);
    return spec;
  }

 private:
  bool Take(TextView wanted) {
    if (!format_.substr(position_).starts_with(wanted)) return false;
    position_ += wanted.size();
    return true;
  }

  void TakeFlags(Spec* spec) {
    for (;;) {
      if (Take(u"-")) {
        spec->left = true;
      } else if (Take(u"0")) {
        spec->zero = true;
      } else if (Take(u"+")) {
        spec->plus = true;
      } else if (Take(u" ")) {
        spec->blank = true;
      } else {
        return;
      }
    }
  }

  size_t TakeNumber() {
    size_t value = 0;
    for (; !AtEnd() && format_[position_] >= u'0' && format_[position_] <= u'9'; ++position_) {
      value = std::min(value * 10 + (format_[position_] - u'0'), kMaxWidth);
    }
    return value;
  }

  void TakeSize(Spec* spec) {
    spec->wide_int = Take(u"ll") || Take(u"I64");
    if (!spec->wide_int) Take(u"l");
  }

  TextView format_;
  size_t position_ = 0;
};

void AppendPadded(TextView prefix, TextView body, bool zeros, const Spec& spec, Text* out) {
  const size_t size = prefix.size() + body.size();
  const size_t padding = spec.width > size ? spec.width - size : 0;
  if (!spec.left && !zeros) out->append(padding, u' ');
  out->append(prefix);
  if (!spec.left && zeros) out->append(padding, u'0');
  out->append(body);
  if (spec.left) out->append(padding, u' ');
}

TextView SignOf(bool negative, const Spec& spec) {
  if (negative) return u"-";
  if (spec.plus) return u"+";
  return spec.blank ? u" " : u"";
}

Text Widen(const char* begin, const char* end) { return Text(begin, end); }

void AppendInteger(int64_t value, const Spec& spec, Text* out) {
  const bool is_signed = spec.conversion == u'd' || spec.conversion == u'i';
  if (!spec.wide_int) {
    value =
        is_signed ? int64_t{static_cast<int32_t>(value)} : int64_t{static_cast<uint32_t>(value)};
  }
  const bool negative = is_signed && value < 0;
  const uint64_t magnitude =
      negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  const bool hex = spec.conversion == u'x' || spec.conversion == u'X';

  std::array<char, 24> buffer;
  const auto end =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), magnitude, hex ? 16 : 10).ptr;
  Text digits = Widen(buffer.data(), end);
  if (spec.conversion == u'X') {
    for (char16_t& digit : digits) {
      if (digit >= u'a') digit = static_cast<char16_t>(digit - 0x20);
    }
  }
  if (spec.precision) {
    if (*spec.precision == 0 && magnitude == 0) digits.clear();
    if (digits.size() < *spec.precision) digits.insert(0, *spec.precision - digits.size(), u'0');
  }
  const TextView sign = is_signed ? SignOf(negative, spec) : TextView();
  AppendPadded(sign, digits, spec.zero && !spec.precision, spec, out);
}

void AppendDouble(double value, const Spec& spec, Text* out) {
  const bool negative = std::signbit(value);
  const auto style =
      spec.conversion == u'f' ? std::chars_format::fixed : std::chars_format::general;
  const int precision = static_cast<int>(std::min<size_t>(spec.precision.value_or(6), 1000));
  std::array<char, 1400> buffer;  // 309 digits before the point, the point and 1000 after it
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), std::fabs(value),
                                 style, precision)
                       .ptr;
  AppendPadded(SignOf(negative, spec), Widen(buffer.data(), end), spec.zero && std::isfinite(value),
               spec, out);
}

bool IsInteger(char16_t conversion) {
  return TextView(u"diuxX").find(conversion) != TextView::npos;
}

// False when the conversion is none of ours.
bool IsKnown(const Spec& spec) {
  if (IsInteger(spec.conversion)) return true;
  if (spec.conversion == u's' || spec.conversion == u'c') return !spec.wide_int;
  return spec.conversion == u'f' || spec.conversion == u'g';
}

void AppendArgument(const FormatArg& arg, const Spec& spec, Text* out) {
  const auto& value = arg.value();
  if (spec.conversion == u's') {
    const TextView* text = std::get_if<TextView>(&value);
    if (text)
      AppendPadded({}, text->substr(0, spec.precision.value_or(text->npos)), false, spec, out);
  } else if (spec.conversion == u'f' || spec.conversion == u'g') {
    const double* number = std::get_if<double>(&value);
    if (number) AppendDouble(*number, spec, out);
  } else if (const int64_t* number = std::get_if<int64_t>(&value)) {
    if (spec.conversion == u'c') {
      const char16_t unit = static_cast<char16_t>(*number);
      AppendPadded({}, {&unit, 1}, false, spec, out);
    } else {
      AppendInteger(*number, spec, out);
    }
  }
}

}  // namespace

Text FormatText(TextView format, std::span<const FormatArg> args) {
  Text out;
  out.reserve(format.size() + 32 * args.size());
  Parser parser(format);
  size_t next = 0;
  for (;;) {
    out.append(parser.TakeLiteral());
    if (parser.AtEnd()) return out;
    TextView source;
    const Spec spec = parser.TakeSpec(&source);
    if (source == u"%%") {
      out.push_back(u'%');
    } else if (!IsKnown(spec)) {
      out.append(source);
    } else if (next < args.size()) {
      AppendArgument(args[next++], spec, &out);
    }
  }
}

}  // namespace zv
