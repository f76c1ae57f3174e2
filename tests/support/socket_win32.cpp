#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <utility>

#include "tests/support/socket.h"

namespace zv::testing {
namespace {

SOCKET Handle(intptr_t handle) { return static_cast<SOCKET>(handle); }

struct Winsock {
  Winsock() {
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
  }
  ~Winsock() { WSACleanup(); }
};

intptr_t OpenSocket() {
  static const Winsock winsock;
  return static_cast<intptr_t>(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
}

sockaddr_in MakeAddress(const std::string& address, uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  result.sin_addr.s_addr = inet_addr(address.c_str());
  return result;
}

void NoDelay(SOCKET handle) {
  const BOOL on = TRUE;
  setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
}

// One call moves at most this much: the length is an int.
int PieceOf(size_t size) { return static_cast<int>(std::min<size_t>(size, 1 << 30)); }

}  // namespace

Socket::Socket(Socket&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}

Socket& Socket::operator=(Socket&& other) noexcept {
  if (this != &other) {
    Close();
    handle_ = std::exchange(other.handle_, -1);
  }
  return *this;
}

Socket Socket::Listen(const std::string& address, uint16_t port) {
  Socket result(OpenSocket());
  const sockaddr_in where = MakeAddress(address, port);
  if (bind(Handle(result.handle_), reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0 ||
      listen(Handle(result.handle_), 128) != 0) {
    result.Close();
  }
  return result;
}

Socket Socket::Connect(const std::string& address, uint16_t port) {
  Socket result(OpenSocket());
  const sockaddr_in where = MakeAddress(address, port);
  if (connect(Handle(result.handle_), reinterpret_cast<const sockaddr*>(&where), sizeof where) !=
      0) {
    result.Close();
  }
  return result;
}

Socket Socket::Accept() const {
  const SOCKET accepted = accept(Handle(handle_), nullptr, nullptr);
  if (accepted != INVALID_SOCKET) NoDelay(accepted);
  return Socket(static_cast<intptr_t>(accepted));
}

size_t Socket::Receive(void* buffer, size_t size) const {
  const int got = recv(Handle(handle_), static_cast<char*>(buffer), PieceOf(size), 0);
  return got > 0 ? static_cast<size_t>(got) : 0;
}

bool Socket::Send(const void* data, size_t size) const {
  const char* from = static_cast<const char*>(data);
  while (size > 0) {
    const int sent = send(Handle(handle_), from, PieceOf(size), 0);
    if (sent <= 0) return false;
    from += sent;
    size -= static_cast<size_t>(sent);
  }
  return true;
}

void Socket::ShutDownSending() const { shutdown(Handle(handle_), SD_SEND); }

// Wine leaves a call that waits already waiting, so it is cancelled, too.
void Socket::ShutDown() const {
  shutdown(Handle(handle_), SD_BOTH);
  CancelIoEx(reinterpret_cast<HANDLE>(handle_), nullptr);
}

void Socket::Reset() {
  linger at_once{};
  at_once.l_onoff = 1;
  setsockopt(Handle(handle_), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&at_once),
             sizeof at_once);
  Close();
}

void Socket::Close() {
  if (is_open()) closesocket(Handle(std::exchange(handle_, -1)));
}

}  // namespace zv::testing
