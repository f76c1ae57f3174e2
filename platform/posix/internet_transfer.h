// One HTTP exchange driven step by step: each call moves bytes until what it waits for has
// happened.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/posix/internet_pool.h"

namespace zv {

// What to send; texts are UTF-8.
struct TransferPlan {
  std::string url;
  std::string verb;
  std::string agent;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  std::optional<uint64_t> upload_length;  // a body that is handed over piece by piece instead
  std::string user;                       // when not empty: credentials, sent at once
  std::string password;
  bool http_1_0 = false;
  std::string proxy;  // "host:port", or empty
  std::string proxy_user;
  std::string proxy_password;
  bool secure = false;
  bool check_authority = true;  // the certificate's issuer, dates and chain
  bool check_name = true;
  uint32_t connect_timeout = 0;  // ms; the others: ms without any progress
  uint32_t send_timeout = 0;
  uint32_t receive_timeout = 0;
};

// One thread at a time. Every call that waits throws Error(kInternet) when the exchange fails; from
// then on every further one does, too.
class Transfer {
 public:
  // Nothing is sent yet.
  explicit Transfer(TransferPlan plan);
  // Lets go of the connection: it is used again when the reply was read, or its little rest could
  // be read at once, and dropped otherwise.
  ~Transfer();
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  void WaitForHead();
  // Sends the request's head.
  void StartUpload();
  // Gives back once the bytes are on their way; the rest is dropped when the server has replied
  // already.
  void Upload(const void* data, size_t size);
  uint64_t uploaded() const { return uploaded_; }
  // Fewer bytes than asked only at the body's end, or before a failure that the next call reports.
  size_t Read(void* buffer, size_t size);

  bool has_head() const { return has_head_; }
  uint32_t status() const { return status_; }
  const std::string& reason() const { return reason_; }
  const std::string* Header(std::string_view name) const;

 private:
  using Clock = std::chrono::steady_clock;

  struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  template <typename Value>
  void Set(CURLoption option, Value value);
  void SetUp();
  void SetHeaders();
  void SetVerbAndBody();
  void SetProxy();
  void SetTls();

  static size_t OnWrite(char* data, size_t unit, size_t count, void* self);
  static size_t OnRead(char* room, size_t unit, size_t count, void* self);
  static size_t OnHeader(char* line, size_t unit, size_t count, void* self);
  static int OnSeek(void* self, curl_off_t offset, int origin);
  static int OnConnected(void* self, char*, char*, int, int);

  void TakeHeaderLine(std::string_view line);
  size_t TakeBody(const char* data, size_t size);
  size_t TakeSpill(char* out, size_t size);

  void DriveUntil(const std::function<bool()>& reached);
  // One round without waiting.
  void Perform();
  void CollectResult();
  void NoteResult(CURLcode result);
  void Fail(uint32_t code);
  void ThrowIfFailed() const;
  uint64_t ProgressMark() const;
  uint32_t StallLimit() const;
  void DrainRest();

  TransferPlan plan_;
  std::unique_ptr<curl_slist, ListDeleter> header_list_;
  LeasedHandles handles_;  // empty again once the exchange is over

  bool connected_ = false;
  bool has_head_ = false;
  bool over_ = false;
  bool paused_reading_ = false;
  uint32_t failure_ = 0;
  std::exception_ptr thrown_;  // within a call back; such a failure comes before failure_

  uint32_t status_ = 0;
  std::string reason_;
  std::vector<std::pair<std::string, std::string>> reply_headers_;
  uint64_t head_bytes_ = 0;
  uint64_t body_bytes_ = 0;

  // The reader's buffer while Read waits; what does not fit waits in the spill.
  char* room_ = nullptr;
  size_t room_left_ = 0;
  std::string spill_;
  size_t spill_taken_ = 0;
  bool draining_ = false;

  // The writer's bytes while Upload waits.
  std::string_view source_;
  size_t source_taken_ = 0;
  bool wants_source_ = false;
  bool paused_sending_ = false;
  uint64_t uploaded_ = 0;  // bytes handed on before the current Upload's
};

}  // namespace zv
