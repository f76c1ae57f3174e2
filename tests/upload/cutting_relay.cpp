#include "tests/upload/cutting_relay.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

namespace zv::testing {

CuttingRelay::CuttingRelay(const std::string& address, std::string server, uint16_t port,
                           uint64_t cut_after)
    : server_(std::move(server)), port_(port), listener_(Socket::Listen(address, port)) {
  if (!listener_.is_open()) throw std::runtime_error("cannot listen on " + address);
  accepting_ = std::thread([this, cut_after] { Accept(cut_after); });
}

CuttingRelay::~CuttingRelay() {
  listener_.ShutDown();
  accepting_.join();
  for (Line& line : lines_) {
    line.client.ShutDown();
    line.server.ShutDown();
    line.up.join();
    line.down.join();
  }
}

void CuttingRelay::Accept(uint64_t cut_after) {
  for (Socket client = listener_.Accept(); client.is_open(); client = listener_.Accept()) {
    Line& line = lines_.emplace_back();
    if (lines_.size() == 1) line.bytes_left = cut_after;
    line.client = std::move(client);
    line.server = Socket::Connect(server_, port_);
    line.up = std::thread([&line] { Up(line); });
    line.down = std::thread([&line] { Down(line); });
  }
}

void CuttingRelay::Up(Line& line) {
  std::vector<char> buffer(65536);
  while (line.bytes_left > 0) {
    const size_t got = line.client.Receive(buffer.data(), buffer.size());
    const auto passed = static_cast<size_t>(std::min<uint64_t>(got, line.bytes_left));
    if (passed == 0 || !line.server.Send(buffer.data(), passed)) break;
    line.bytes_left -= passed;
  }
  line.server.ShutDown();
  line.client.ShutDown();
}

void CuttingRelay::Down(Line& line) {
  std::vector<char> buffer(65536);
  size_t got = 0;
  while ((got = line.server.Receive(buffer.data(), buffer.size())) > 0) {
    if (!line.client.Send(buffer.data(), got)) break;
  }
  line.client.ShutDownSending();
}

}  // namespace zv::testing
