#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "tests/support/socket.h"

namespace zv::testing {
namespace {

int Fd(intptr_t handle) { return static_cast<int>(handle); }

sockaddr_in MakeAddress(const std::string& address, uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  inet_pton(AF_INET, address.c_str(), &result.sin_addr);
  return result;
}

void NoDelay(int fd) {
  const int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

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
  Socket result(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int on = 1;
  setsockopt(Fd(result.handle_), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const sockaddr_in where = MakeAddress(address, port);
  if (bind(Fd(result.handle_), reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0 ||
      listen(Fd(result.handle_), 128) != 0) {
    result.Close();
  }
  return result;
}

Socket Socket::Connect(const std::string& address, uint16_t port) {
  Socket result(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_in where = MakeAddress(address, port);
  if (connect(Fd(result.handle_), reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0) {
    result.Close();
  }
  return result;
}

Socket Socket::Accept() const {
  int fd = -1;
  do {
    fd = accept4(Fd(handle_), nullptr, nullptr, SOCK_CLOEXEC);
  } while (fd < 0 && (errno == EINTR || errno == ECONNABORTED));
  if (fd >= 0) NoDelay(fd);
  return Socket(fd);
}

size_t Socket::Receive(void* buffer, size_t size) const {
  ssize_t got = 0;
  do {
    got = recv(Fd(handle_), buffer, size, 0);
  } while (got < 0 && errno == EINTR);
  return got > 0 ? static_cast<size_t>(got) : 0;
}

bool Socket::Send(const void* data, size_t size) const {
  const char* from = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t sent = send(Fd(handle_), from, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    from += sent;
    size -= static_cast<size_t>(sent);
  }
  return true;
}

void Socket::ShutDownSending() const { shutdown(Fd(handle_), SHUT_WR); }

void Socket::ShutDown() const { shutdown(Fd(handle_), SHUT_RDWR); }

void Socket::Reset() {
  const linger at_once{.l_onoff = 1, .l_linger = 0};
  setsockopt(Fd(handle_), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  Close();
}

void Socket::Close() {
  if (is_open()) close(Fd(std::exchange(handle_, -1)));
}

}  // namespace zv::testing
