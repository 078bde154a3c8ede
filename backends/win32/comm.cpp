// The serial-port service over Win32 communications with genuine overlapped I/O.
#include <algorithm>
#include <bit>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "backends/win32/backend.h"
#include "backends/win32/handles.h"
#include "backends/win32/text.h"

namespace mvsms::win32 {
namespace {

static_assert(sizeof(DCB) == sizeof(Dcb));
static_assert(sizeof(COMMTIMEOUTS) == sizeof(CommTimeouts));

HANDLE Native(CommHandle handle) { return reinterpret_cast<HANDLE>(handle); }

/// All that a driver writes to, apart from the record that the core owns: a driver may keep it.
struct Operation {
  Operation() { record.hEvent = event.get(); }
  UniqueHandle event{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  OVERLAPPED record{};
  std::vector<char> bytes;  // read, or to be written
  DWORD events = 0;         // that a wait ended with
};

class Win32Overlapped : public Overlapped {
 public:
  /// Hands over to the core what an operation brought, with the number of bytes.
  using Delivery = std::function<void(const Operation&, std::size_t count)>;

  bool Completed() override {
    if (::WaitForSingleObject(operation_->event.get(), 0) == WAIT_TIMEOUT) return false;
    Deliver(operation_->record.InternalHigh);
    return true;
  }
  std::uint32_t Transferred() override {
    Completed();
    return static_cast<std::uint32_t>(operation_->record.InternalHigh);
  }

  /// Makes the record ready for the next operation.
  Operation& Begin(Delivery delivery) {
    delivery_ = std::move(delivery);
    ::ResetEvent(operation_->event.get());
    operation_->record.Internal = 0;
    operation_->record.InternalHigh = 0;
    return *operation_;
  }
  void Deliver(std::size_t count) {
    if (const Delivery delivery = std::exchange(delivery_, nullptr)) delivery(*operation_, count);
  }
  /// Waits until the driver has let go of a cancelled operation, and makes it count no bytes.
  void AwaitCancelled() {
    constexpr DWORD kLongest = 1000;  // ms; a driver that hangs must not hang the host for good
    delivery_ = nullptr;
    if (::WaitForSingleObject(operation_->event.get(), kLongest) == WAIT_TIMEOUT) {
      // It may write there at any time: left to it, for a leak is better than foreign memory.
      operation_.release();  // NOLINT(bugprone-unused-return-value)
      operation_ = std::make_unique<Operation>();
    }
    ::SetEvent(operation_->event.get());
    operation_->record.InternalHigh = 0;
  }

 private:
  std::unique_ptr<Operation> operation_ = std::make_unique<Operation>();
  Delivery delivery_;
};

Win32Overlapped& Native(Overlapped& overlapped) {
  return static_cast<Win32Overlapped&>(overlapped);
}

class Win32Comm : public Comm {
 public:
  std::unique_ptr<Overlapped> CreateOverlapped() override {
    return std::make_unique<Win32Overlapped>();
  }

  CommHandle CreateFile(const std::string& device_name) override {
    return reinterpret_cast<CommHandle>(
        ::CreateFileW(WideFromAnsi(device_name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                      OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
  }

  bool CloseHandle(CommHandle handle) override {
    // What is pending now ends without bytes, and once this returns the driver no longer touches
    // its buffers.
    std::vector<Win32Overlapped*> cancelled;
    const auto [first, last] = pending_.equal_range(handle);
    for (auto entry = first; entry != last; ++entry) {
      if (!entry->second->Completed()) cancelled.push_back(entry->second);
    }
    pending_.erase(first, last);
    ::CancelIoEx(Native(handle), nullptr);
    for (Win32Overlapped* operation : cancelled) operation->AwaitCancelled();
    return ::CloseHandle(Native(handle)) != FALSE;
  }

  bool SetupComm(CommHandle handle, std::uint32_t in_queue, std::uint32_t out_queue) override {
    return ::SetupComm(Native(handle), in_queue, out_queue) != FALSE;
  }
  bool GetCommTimeouts(CommHandle handle, CommTimeouts& timeouts) override {
    return ::GetCommTimeouts(Native(handle), reinterpret_cast<COMMTIMEOUTS*>(&timeouts)) != FALSE;
  }
  bool SetCommTimeouts(CommHandle handle, const CommTimeouts& timeouts) override {
    COMMTIMEOUTS native = std::bit_cast<COMMTIMEOUTS>(timeouts);
    return ::SetCommTimeouts(Native(handle), &native) != FALSE;
  }
  bool GetCommState(CommHandle handle, Dcb& dcb) override {
    DCB native{};
    native.DCBlength = sizeof native;
    if (!::GetCommState(Native(handle), &native)) return false;
    dcb = std::bit_cast<Dcb>(native);
    return true;
  }
  bool SetCommState(CommHandle handle, const Dcb& dcb) override {
    DCB native = std::bit_cast<DCB>(dcb);
    return ::SetCommState(Native(handle), &native) != FALSE;
  }
  bool SetCommMask(CommHandle handle, std::uint32_t events) override {
    return ::SetCommMask(Native(handle), events) != FALSE;
  }
  bool GetCommModemStatus(CommHandle handle, std::uint32_t& status) override {
    DWORD native = 0;
    if (!::GetCommModemStatus(Native(handle), &native)) return false;
    status = native;
    return true;
  }

  std::uint32_t ReadFile(CommHandle handle, char* buffer, std::uint32_t count,
                         std::uint32_t& transferred, Overlapped& overlapped) override {
    Operation& operation =
        Native(overlapped).Begin([buffer](const Operation& ended, std::size_t arrived) {
          std::copy_n(ended.bytes.begin(), arrived, buffer);
        });
    operation.bytes.resize(count);
    DWORD moved = 0;
    const BOOL done =
        ::ReadFile(Native(handle), operation.bytes.data(), count, &moved, &operation.record);
    return Outcome(done, handle, overlapped, transferred, moved);
  }

  std::uint32_t WriteFile(CommHandle handle, const char* buffer, std::uint32_t count,
                          std::uint32_t& transferred, Overlapped& overlapped) override {
    Operation& operation = Native(overlapped).Begin(nullptr);
    operation.bytes.assign(buffer, buffer + count);
    DWORD moved = 0;
    const BOOL done =
        ::WriteFile(Native(handle), operation.bytes.data(), count, &moved, &operation.record);
    return Outcome(done, handle, overlapped, transferred, moved);
  }

  std::uint32_t WaitCommEvent(CommHandle handle, std::uint32_t& events,
                              Overlapped& overlapped) override {
    Operation& operation = Native(overlapped).Begin([&events](const Operation& ended, std::size_t) {
      events = ended.events;
    });
    operation.events = 0;
    std::uint32_t ignored = 0;
    const BOOL done = ::WaitCommEvent(Native(handle), &operation.events, &operation.record);
    return Outcome(done, handle, overlapped, ignored, 0);
  }

  bool ClearCommError(CommHandle handle, std::uint32_t& errors) override {
    DWORD native = 0;
    if (!::ClearCommError(Native(handle), &native, nullptr)) return false;
    errors = native;
    return true;
  }

 private:
  /// The operation's result as the seam wants it; one that is still under way is remembered until
  /// the handle is closed.
  std::uint32_t Outcome(BOOL done, CommHandle handle, Overlapped& overlapped,
                        std::uint32_t& transferred, DWORD moved) {
    Win32Overlapped& record = Native(overlapped);
    std::erase_if(pending_, [&](const auto& entry) { return entry.second == &record; });
    if (done) {
      transferred = moved;
      record.Deliver(moved);
      return 0;
    }
    const DWORD error = ::GetLastError();
    if (error == ERROR_IO_PENDING) pending_.emplace(handle, &record);
    return error;
  }

  std::multimap<CommHandle, Win32Overlapped*> pending_;
};

}  // namespace

std::unique_ptr<Comm> MakeComm() { return std::make_unique<Win32Comm>(); }

}  // namespace mvsms::win32
