// A line to a server that breaks once.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <thread>

#include "tests/support/socket.h"

namespace zv::testing {

// Hands every connection on to the same port of another address. The first one is broken in both
// directions after this many bytes from the client.
class CuttingRelay {
 public:
  CuttingRelay(const std::string& address, std::string server, uint16_t port, uint64_t cut_after);
  ~CuttingRelay();
  CuttingRelay(const CuttingRelay&) = delete;
  CuttingRelay& operator=(const CuttingRelay&) = delete;

 private:
  struct Line {
    Socket client;
    Socket server;
    uint64_t bytes_left = UINT64_MAX;  // before the cut
    std::thread up;
    std::thread down;
  };

  void Accept(uint64_t cut_after);
  static void Up(Line& line);
  static void Down(Line& line);

  std::string server_;
  uint16_t port_;
  Socket listener_;
  std::list<Line> lines_;
  std::thread accepting_;
};

}  // namespace zv::testing
