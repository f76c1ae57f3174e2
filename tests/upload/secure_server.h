// A TLS server on the secure port, made of openssl's own one; for one system only.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/socket.h"

extern char** environ;

namespace zv::testing {

// A program with its input and output in hand; ended with the object.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipes");
    }
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    if (posix_spawnp(&child_, pointers[0], &actions, nullptr, pointers.data(), environ) != 0) {
      child_ = 0;
    }
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    in_ = in[1];
    out_ = out[0];
  }
  ~Program() {
    if (child_ > 0) kill(child_, SIGTERM);
    Wait();
    close(in_);
    close(out_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  bool has_ended() { return child_ <= 0 || waitpid(child_, &status_, WNOHANG) != 0; }
  int Wait() {
    if (child_ > 0) waitpid(child_, &status_, 0);
    child_ = 0;
    return status_;
  }
  // What it writes, up to the first of these ends; less when nothing more comes.
  std::string ReadTo(std::string_view end) {
    std::string text;
    pollfd wanted{.fd = out_, .events = POLLIN, .revents = 0};
    char piece[4096];
    while (text.find(end) == std::string::npos && poll(&wanted, 1, kPatienceMs) > 0) {
      const ssize_t count = read(out_, piece, sizeof piece);
      if (count <= 0) break;
      text.append(piece, static_cast<size_t>(count));
    }
    return text;
  }
  void Write(std::string_view text) {
    if (write(in_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
      throw std::runtime_error("the program takes no input");
    }
  }

 private:
  static constexpr int kPatienceMs = 20000;

  pid_t child_ = 0;
  int status_ = -1;
  int in_ = -1;
  int out_ = -1;
};

// Shows what it receives on its output, and sends its input to whoever is connected.
class SecureServer : public Program {
 public:
  // Nobody may have port 443 of the address.
  explicit SecureServer(const std::string& address) : SecureServer(address, MakeCertificate()) {}
  ~SecureServer() { std::filesystem::remove_all(folder_); }

 private:
  SecureServer(const std::string& address, const std::filesystem::path& folder)
      : Program({"openssl", "s_server", "-quiet", "-accept", address + ":443", "-cert",
                 folder / "certificate.pem", "-key", folder / "key.pem"}),
        folder_(folder) {
    while (!Socket::Connect(address, 443).is_open()) {
      if (has_ended()) throw std::runtime_error("the server did not start");
      std::this_thread::yield();
    }
  }

  // One that its client has to excuse: of an unknown authority, for another name.
  static std::filesystem::path MakeCertificate() {
    const auto folder =
        std::filesystem::temp_directory_path() / ("zvworker-secure-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    Program make({"openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
                  "/CN=another.invalid", "-out", folder / "certificate.pem", "-keyout",
                  folder / "key.pem"});
    if (make.Wait() != 0) throw std::runtime_error("no certificate");
    return folder;
  }

  std::filesystem::path folder_;
};

}  // namespace zv::testing
