// Owners for what Windows hands out, each defined by the call that releases it.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "backends/win32/win.h"

namespace mvsms::win32 {

/// A kernel handle, closed by CloseHandle.
struct HandleCloser {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { ::CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<void, HandleCloser>;

/// An open registry key.
struct KeyCloser {
  using pointer = HKEY;
  void operator()(HKEY key) const { ::RegCloseKey(key); }
};
using UniqueKey = std::unique_ptr<HKEY, KeyCloser>;

/// A counted COM pointer. `Put()` receives a fresh reference, `As<T>()` asks for an interface.
template <typename T>
class ComPtr {
 public:
  ComPtr() = default;
  explicit ComPtr(T* adopted) : pointer_(adopted) {}
  ComPtr(const ComPtr& other) : pointer_(other.pointer_) {
    if (pointer_) pointer_->AddRef();
  }
  ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }
  ~ComPtr() { Reset(); }

  T* Get() const { return pointer_; }
  T* operator->() const { return pointer_; }
  explicit operator bool() const { return pointer_ != nullptr; }
  void Reset() {
    if (T* old = std::exchange(pointer_, nullptr)) old->Release();
  }
  T** Put() {
    Reset();
    return &pointer_;
  }
  void** PutVoid() { return reinterpret_cast<void**>(Put()); }
  T* Detach() { return std::exchange(pointer_, nullptr); }

 private:
  T* pointer_ = nullptr;
};

/// A BSTR made from or read as text of the core, see text.h.
class Bstr {
 public:
  Bstr() = default;
  explicit Bstr(const std::string& ansi);
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  ~Bstr() { ::SysFreeString(text_); }

  BSTR Get() const { return text_; }
  BSTR* Put() {
    ::SysFreeString(std::exchange(text_, nullptr));
    return &text_;
  }
  /// The text itself, for an argument that a callee may replace.
  BSTR* InOut() { return &text_; }
  BSTR Detach() { return std::exchange(text_, nullptr); }
  std::string Ansi() const;

 private:
  BSTR text_ = nullptr;
};

/// Text of a BSTR for the core, see text.h; NULL is empty.
std::string AnsiFromBstr(BSTR text);

/// The DLL or program that this code is part of.
HMODULE OwnModule();

/// A function of a library of the system folder, loaded once and kept; null when there is none.
/// Never looks into the program's folder or the search path.
FARPROC SystemFunction(const char* library, const char* function);

}  // namespace mvsms::win32
