// The person at the terminal. Used by the host program only; one thread at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zv {

bool InputIsTerminal();
bool OutputIsTerminal();
// Columns of the terminal that standard output is; 80 when it is none.
int TerminalWidth();
// One line from standard input, UTF-8, without its line end: with a prompt and without echo on a
// terminal, as it comes otherwise. nullopt at the end of the input.
std::optional<std::string> ReadSecretLine(const std::string& prompt);

// The process's user and group, as a mounted file system shows them to its users; 0 on Windows.
struct UserIds {
  uint32_t user = 0;
  uint32_t group = 0;
};
UserIds CurrentUserIds();

}  // namespace zv
