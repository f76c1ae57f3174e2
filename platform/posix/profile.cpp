// Initialisation files, read by the rules of the system that owns the format.
#include <algorithm>

#include "platform/error.h"
#include "platform/file.h"
#include "platform/registry.h"

namespace zv {
namespace {

constexpr std::string_view kUtf16Mark = "\xFF\xFE";

Text ReadWhole(TextView path) {
  File file = File::Open(path, Access::kRead, Disposition::kOpenExisting);
  if (!file) return {};
  const std::string bytes = file.ReadAll();
  if (bytes.starts_with(kUtf16Mark)) {
    return FromUtf16LeBytes(std::string_view(bytes).substr(kUtf16Mark.size()));
  }
  return FromAnsi(bytes);
}

TextView TrimView(TextView text) {
  constexpr TextView kBlanks = u" \t\v\f\r\x1A";
  const size_t start = text.find_first_not_of(kBlanks);
  if (start == TextView::npos) return {};
  return text.substr(start, text.find_last_not_of(kBlanks) - start + 1);
}

TextView WithoutQuotes(TextView value) {
  const bool quoted = value.size() >= 2 && (value.front() == u'"' || value.front() == u'\'') &&
                      value.front() == value.back();
  return quoted ? value.substr(1, value.size() - 2) : value;
}

// Takes the next line, trimmed, off the front of the text.
TextView TakeLine(TextView* text) {
  const size_t end = std::min(text->find(u'\n'), text->size());
  const TextView line = text->substr(0, end);
  text->remove_prefix(std::min(end + 1, text->size()));
  return TrimView(line);
}

Text FindEntry(TextView text, TextView section, TextView key) {
  bool in_section = false;
  while (!text.empty()) {
    const TextView line = TakeLine(&text);
    if (line.starts_with(u'[')) {
      const size_t end = std::min(line.rfind(u']'), line.size());
      in_section = EqualsNoCase(line.substr(1, std::max<size_t>(end, 1) - 1), section);
    } else if (in_section && !line.starts_with(u';')) {
      const size_t equals = std::min(line.find(u'='), line.size());
      if (!EqualsNoCase(TrimView(line.substr(0, equals)), key)) continue;
      return Text(WithoutQuotes(TrimView(line.substr(std::min(equals + 1, line.size())))));
    }
  }
  return {};
}

}  // namespace

Text ReadProfileText(TextView file, TextView section, TextView key, size_t max_chars) {
  try {
    Text value = FindEntry(ReadWhole(file), section, key);
    value.resize(std::min(value.size(), max_chars > 0 ? max_chars - 1 : 0));
    return value;
  } catch (const Error&) {
    return {};  // a file that cannot be read counts as missing
  }
}

}  // namespace zv
