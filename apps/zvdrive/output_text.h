// Texts that others chose, such as a server's names, on their way to a person or a program.
#pragma once

#include <string>

namespace zv {

// UTF-8 text fit for a terminal: a "?" for every control character.
std::string PrintableText(const std::string& text);
// The same when standard output is a terminal; programs get the text as it is.
std::string FitForOutput(const std::string& text);
// A JSON string (RFC 8259) of UTF-8 text.
std::string JsonText(const std::string& text);

}  // namespace zv
