#include "platform/posix/internet_transfer.h"

#include <algorithm>
#include <cstring>

#include "platform/posix/internet_error.h"
#include "platform/posix/sigpipe_guard.h"

namespace zv {
namespace {

using namespace std::chrono_literals;

// What is received beyond the reader's buffer and not paused yet; one receive may go over it.
constexpr size_t kSpillLimit = 1024 * 1024;
constexpr uint64_t kLongestHead = 256 * 1024;
// A rest of at most this size is read away at the end so that the connection can be used again.
constexpr uint64_t kDrainLimit = 256 * 1024;
constexpr std::chrono::milliseconds kDrainPatience{20};
constexpr std::chrono::milliseconds kLongestPoll{1000};

bool SameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && curl_strnequal(a.data(), b.data(), a.size()) != 0;
}

std::string_view TrimLine(std::string_view line) {
  while (!line.empty() && strchr(" \t\r\n", line.back())) line.remove_suffix(1);
  while (!line.empty() && strchr(" \t", line.front())) line.remove_prefix(1);
  return line;
}

}  // namespace

Transfer::Transfer(TransferPlan plan) : plan_(std::move(plan)), handles_(TakeHandles()) {
  SetUp();
  curl_multi_add_handle(handles_->multi.get(), handles_->easy.get());
}

Transfer::~Transfer() {
  if (handles_ && has_head_) DrainRest();
  handles_.reset();
}

// Nothing may be thrown through the client's own frames: it is kept for the caller, and the
// exchange ends.
size_t Transfer::OnWrite(char* data, size_t unit, size_t count, void* self) {
  Transfer& transfer = *static_cast<Transfer*>(self);
  try {
    return transfer.TakeBody(data, unit * count);
  } catch (...) {
    transfer.thrown_ = std::current_exception();
    return 0;
  }
}

size_t Transfer::TakeBody(const char* data, size_t size) {
  if (draining_) {
    body_bytes_ += size;
    return size;
  }
  if (room_left_ == 0 && spill_.size() - spill_taken_ >= kSpillLimit) {
    paused_reading_ = true;
    return CURL_WRITEFUNC_PAUSE;
  }
  const size_t direct = std::min(size, room_left_);
  if (direct > 0) {  // without a reader waiting there is no room at all
    std::memcpy(room_, data, direct);
    room_ += direct;
    room_left_ -= direct;
  }
  spill_.append(data + direct, size - direct);
  body_bytes_ += size;
  return size;
}

size_t Transfer::TakeSpill(char* out, size_t size) {
  const size_t taken = std::min(size, spill_.size() - spill_taken_);
  std::memcpy(out, spill_.data() + spill_taken_, taken);
  spill_taken_ += taken;
  if (spill_taken_ == spill_.size()) {
    spill_.clear();
    spill_taken_ = 0;
  }
  return taken;
}

size_t Transfer::OnRead(char* room, size_t unit, size_t count, void* self) {
  Transfer& transfer = *static_cast<Transfer*>(self);
  transfer.wants_source_ = true;
  const size_t taken = std::min(unit * count, transfer.source_.size() - transfer.source_taken_);
  if (taken == 0) {
    transfer.paused_sending_ = true;
    return CURL_READFUNC_PAUSE;
  }
  std::memcpy(room, transfer.source_.data() + transfer.source_taken_, taken);
  transfer.source_taken_ += taken;
  return taken;
}

// A kept connection that turns out to be dead is replaced by a fresh one, and the body starts anew:
// possible as long as all of it is still the writer's current piece.
int Transfer::OnSeek(void* self, curl_off_t offset, int origin) {
  Transfer& transfer = *static_cast<Transfer*>(self);
  if (offset != 0 || origin != SEEK_SET || transfer.uploaded_ != 0) return CURL_SEEKFUNC_FAIL;
  transfer.source_taken_ = 0;
  return CURL_SEEKFUNC_OK;
}

int Transfer::OnConnected(void* self, char*, char*, int, int) {
  static_cast<Transfer*>(self)->connected_ = true;
  return CURL_PREREQFUNC_OK;
}

size_t Transfer::OnHeader(char* line, size_t unit, size_t count, void* self) {
  Transfer& transfer = *static_cast<Transfer*>(self);
  transfer.head_bytes_ += unit * count;
  if (transfer.head_bytes_ > kLongestHead) return 0;  // ends the exchange
  try {
    transfer.TakeHeaderLine({line, unit * count});
  } catch (...) {
    transfer.thrown_ = std::current_exception();
    return 0;
  }
  return unit * count;
}

void Transfer::TakeHeaderLine(std::string_view line) {
  if (has_head_) return;  // trailer lines after a chunked body
  line = TrimLine(line);
  if (line.starts_with("HTTP/")) {
    const size_t code = std::min(line.find(' '), line.size());
    const size_t reason = std::min(line.find(' ', code + 1), line.size());
    status_ = static_cast<uint32_t>(std::atoi(std::string(line.substr(code, 4)).c_str()));
    reason_ = TrimLine(line.substr(reason));
    reply_headers_.clear();
  } else if (line.empty()) {
    // Replies before the connection stands are a proxy's; those below 200 announce another.
    has_head_ = connected_ && status_ >= 200;
  } else if (const size_t colon = line.find(':'); colon != std::string_view::npos) {
    reply_headers_.emplace_back(TrimLine(line.substr(0, colon)), TrimLine(line.substr(colon + 1)));
  }
}

const std::string* Transfer::Header(std::string_view name) const {
  const auto found = std::ranges::find_if(
      reply_headers_, [name](const auto& line) { return SameName(line.first, name); });
  return found == reply_headers_.end() ? nullptr : &found->second;
}

void Transfer::Perform() {
  if (!handles_) return;
  const SigpipeGuard guard(plan_.secure);
  int running = 0;
  curl_multi_perform(handles_->multi.get(), &running);
  if (running == 0) CollectResult();
}

void Transfer::CollectResult() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(handles_->multi.get(), &left)) {
    if (message->msg == CURLMSG_DONE) {
      NoteResult(message->data.result);
      return;
    }
  }
}

void Transfer::NoteResult(CURLcode result) {
  over_ = true;
  handles_->ended_well = result == CURLE_OK;
  if (result != CURLE_OK) {
    long tunnel_status = 0;
    curl_easy_getinfo(handles_->easy.get(), CURLINFO_HTTP_CONNECTCODE, &tunnel_status);
    if (!connected_ && tunnel_status >= 300) {
      has_head_ = true;  // the proxy's refusal is the reply, without its body
    } else {
      failure_ = InternetErrorCode(handles_->easy.get(), result, plan_.check_authority);
    }
  }
  handles_.reset();
}

void Transfer::Fail(uint32_t code) {
  over_ = true;
  failure_ = code;
  handles_.reset();
}

void Transfer::ThrowIfFailed() const {
  if (thrown_) std::rethrow_exception(thrown_);
  if (failure_ != 0) ThrowInternetError(failure_);
}

uint64_t Transfer::ProgressMark() const {
  curl_off_t sent = 0;
  curl_easy_getinfo(handles_->easy.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
  return head_bytes_ + body_bytes_ + static_cast<uint64_t>(sent) + (connected_ ? 1 : 0);
}

// While the connection is being made its own time-out counts.
uint32_t Transfer::StallLimit() const {
  if (!connected_) return plan_.connect_timeout;
  const bool sending = plan_.upload_length && !has_head_ && uploaded_ < *plan_.upload_length;
  return sending ? plan_.send_timeout : plan_.receive_timeout;
}

void Transfer::DriveUntil(const std::function<bool()>& reached) {
  if (over_) return;
  Clock::time_point last_progress = Clock::now();
  uint64_t mark = ProgressMark();
  while (true) {
    Perform();
    if (over_ || reached()) return;
    const Clock::time_point now = Clock::now();
    if (const uint64_t new_mark = ProgressMark(); new_mark != mark) {
      mark = new_mark;
      last_progress = now;
    }
    const auto left = last_progress + std::chrono::milliseconds(StallLimit()) - now;
    if (left <= 0ms) return Fail(kInternetTimeout);
    const auto wait = std::min(std::chrono::ceil<std::chrono::milliseconds>(left), kLongestPoll);
    curl_multi_poll(handles_->multi.get(), nullptr, 0, static_cast<int>(wait.count()), nullptr);
  }
}

void Transfer::WaitForHead() {
  DriveUntil([this] { return has_head_; });
  if (!has_head_) ThrowIfFailed();
}

void Transfer::StartUpload() {
  DriveUntil([this] {
    return has_head_ || wants_source_ || (connected_ && plan_.upload_length.value_or(0) == 0);
  });
  if (!has_head_) ThrowIfFailed();
}

void Transfer::Upload(const void* data, size_t size) {
  if (!has_head_) {
    ThrowIfFailed();
    source_ = {static_cast<const char*>(data), size};
    source_taken_ = 0;
    if (paused_sending_ && handles_) {
      paused_sending_ = false;
      const SigpipeGuard guard(plan_.secure);
      curl_easy_pause(handles_->easy.get(), CURLPAUSE_CONT);
    }
    DriveUntil([this] { return has_head_ || source_taken_ == source_.size(); });
    source_ = {};
    source_taken_ = 0;
    if (!has_head_) ThrowIfFailed();
  }
  uploaded_ += size;
}

size_t Transfer::Read(void* buffer, size_t size) {
  char* out = static_cast<char*>(buffer);
  size_t got = TakeSpill(out, size);
  if (got == size) return got;
  if (!over_) {
    room_ = out + got;
    room_left_ = size - got;
    if (paused_reading_) {
      paused_reading_ = false;
      const SigpipeGuard guard(plan_.secure);
      curl_easy_pause(handles_->easy.get(), CURLPAUSE_CONT);
    }
    DriveUntil([this] { return room_left_ == 0; });
    got = size - room_left_;
    room_ = nullptr;
    room_left_ = 0;
  }
  if (got == 0) ThrowIfFailed();
  return got;
}

void Transfer::DrainRest() {
  curl_off_t length = -1;
  curl_easy_getinfo(handles_->easy.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  const bool too_long = length >= 0 && static_cast<uint64_t>(length) > body_bytes_ + kDrainLimit;
  if (too_long || paused_reading_ || plan_.upload_length) return;
  draining_ = true;
  const uint64_t limit = body_bytes_ + kDrainLimit;
  const Clock::time_point end = Clock::now() + kDrainPatience;
  while (true) {
    Perform();
    if (over_ || body_bytes_ > limit || Clock::now() >= end) return;
    curl_multi_poll(handles_->multi.get(), nullptr, 0, 5, nullptr);
  }
}

}  // namespace zv
