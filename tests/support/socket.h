// Plain TCP sockets for the tests' servers, one interface for both systems.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zv::testing {

// Thread rule: ShutDown may be called while another thread is inside Receive, Send or Accept, which
// then ends; everything else belongs to one thread at a time.
class Socket {
 public:
  Socket() = default;
  explicit Socket(intptr_t handle) : handle_(handle) {}
  Socket(Socket&& other) noexcept;
  Socket& operator=(Socket&& other) noexcept;
  ~Socket() { Close(); }

  // A listening socket on a numeric IPv4 address; not open when the address and port are taken.
  static Socket Listen(const std::string& address, uint16_t port);
  static Socket Connect(const std::string& address, uint16_t port);
  // The next connection; not open when listening ended.
  Socket Accept() const;

  bool is_open() const { return handle_ != -1; }
  // Waits for bytes; 0 when the other side closed or the connection broke.
  size_t Receive(void* buffer, size_t size) const;
  // False when the connection broke before everything was handed to the system.
  bool Send(const void* data, size_t size) const;

  // The other side reads to its end; receiving goes on.
  void ShutDownSending() const;
  // Ends both directions, so that a thread blocked on the socket wakes up.
  void ShutDown() const;
  // Closes in such a way that the other side sees a reset.
  void Reset();
  void Close();

 private:
  intptr_t handle_ = -1;
};

}  // namespace zv::testing
