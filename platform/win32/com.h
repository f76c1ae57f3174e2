// Owners of COM objects and strings.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <new>
#include <utility>

#include "platform/text.h"

namespace zv {

template <typename T>
class ComPtr {
 public:
  ComPtr() = default;
  ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComPtr& operator=(ComPtr&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ComPtr() {
    if (object_) object_->Release();
  }

  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  // Where a call puts the object that it hands over; only while there is none.
  T** out() { return &object_; }
  T* release() { return std::exchange(object_, nullptr); }

 private:
  T* object_ = nullptr;
};

class Bstr {
 public:
  Bstr() = default;
  explicit Bstr(TextView text)
      : string_(SysAllocStringLen(reinterpret_cast<const wchar_t*>(text.data()),
                                  static_cast<UINT>(text.size()))) {
    if (!string_) throw std::bad_alloc();
  }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  ~Bstr() { SysFreeString(string_); }

  BSTR get() const { return string_; }
  BSTR* out() { return &string_; }
  Text text() const { return Text(string_, string_ + SysStringLen(string_)); }

 private:
  BSTR string_ = nullptr;
};

}  // namespace zv
