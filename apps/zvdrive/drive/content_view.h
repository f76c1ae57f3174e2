// A reader's right to read a file's cached content past the drive.
#pragma once

#include <memory>
#include <utility>

#include "apps/zvdrive/drive/open_file.h"
#include "platform/text.h"

namespace zv {

// While one lives, what is written to the file is stored at once: the reader sees it where it lies.
class ContentView {
 public:
  // content_file: where the whole content lies. Call with the file's mutex held.
  ContentView(std::shared_ptr<OpenFile> file, Text content_file)
      : file_(std::move(file)), content_file_(std::move(content_file)) {
    ++file_->views;
  }
  ~ContentView() {
    if (file_) --file_->views;
  }
  ContentView(ContentView&&) noexcept = default;
  ContentView& operator=(ContentView&&) = delete;

  const Text& content_file() const { return content_file_; }
  int64_t size() const { return file_->size; }  // bytes

 private:
  std::shared_ptr<OpenFile> file_;
  Text content_file_;
};

}  // namespace zv
