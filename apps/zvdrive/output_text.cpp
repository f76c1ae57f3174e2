#include "apps/zvdrive/output_text.h"

#include <array>
#include <cstdio>

#include "platform/console.h"

namespace zv {

std::string PrintableText(const std::string& text) {
  std::string result;
  for (size_t at = 0; at < text.size(); ++at) {
    const auto c = static_cast<unsigned char>(text[at]);
    // U+0080 to U+009F control a terminal as well; in UTF-8 they are C2 80 to C2 9F.
    const bool is_upper_control = c == 0xC2 && at + 1 < text.size() &&
                                  static_cast<unsigned char>(text[at + 1]) >= 0x80 &&
                                  static_cast<unsigned char>(text[at + 1]) < 0xA0;
    if (is_upper_control) ++at;
    result += is_upper_control || c < 0x20 || c == 0x7F ? '?' : text[at];
  }
  return result;
}

std::string FitForOutput(const std::string& text) {
  return OutputIsTerminal() ? PrintableText(text) : text;
}

std::string JsonText(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      result += '\\';
      result += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      std::array<char, 8> escaped{};
      std::snprintf(escaped.data(), escaped.size(), "\\u%04x", static_cast<unsigned>(c));
      result += escaped.data();
    } else {
      result += c;
    }
  }
  return result + "\"";
}

}  // namespace zv
