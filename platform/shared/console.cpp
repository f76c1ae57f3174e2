#include "platform/console.h"

#include <iostream>

#include "platform/shared/no_echo.h"

namespace zv {
namespace {

std::optional<std::string> ReadLine() {
  std::string line;
  if (!std::getline(std::cin, line)) return std::nullopt;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

}  // namespace

std::optional<std::string> ReadSecretLine(const std::string& prompt) {
  if (!InputIsTerminal()) return ReadLine();
  std::cerr << prompt << std::flush;
  const NoEcho no_echo;
  auto line = ReadLine();
  std::cerr << '\n';
  return line;
}

}  // namespace zv
