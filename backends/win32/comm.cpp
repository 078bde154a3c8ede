// The serial-port service over Win32 communications with genuine overlapped I/O.
#include <bit>
#include <map>
#include <vector>

#include "backends/win32/backend.h"
#include "backends/win32/handles.h"
#include "backends/win32/text.h"

namespace mvsms::win32 {
namespace {

static_assert(sizeof(DCB) == sizeof(Dcb));
static_assert(sizeof(COMMTIMEOUTS) == sizeof(CommTimeouts));

HANDLE Native(CommHandle handle) { return reinterpret_cast<HANDLE>(handle); }

class Win32Overlapped : public Overlapped {
 public:
  Win32Overlapped() : event_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    record_.hEvent = event_.get();
  }
  bool Completed() override { return ::WaitForSingleObject(event_.get(), 0) != WAIT_TIMEOUT; }
  std::uint32_t Transferred() override { return static_cast<std::uint32_t>(record_.InternalHigh); }

  /// Makes the record ready for the next operation.
  OVERLAPPED* Prepare() {
    ::ResetEvent(event_.get());
    record_.Internal = 0;
    record_.InternalHigh = 0;
    return &record_;
  }
  /// Waits until the driver has let go of a cancelled operation, and makes it count no bytes.
  void AwaitCancelled() {
    constexpr DWORD kLongest = 1000;  // ms; a driver that hangs must not hang the host for good
    ::WaitForSingleObject(event_.get(), kLongest);
    ::SetEvent(event_.get());
    record_.InternalHigh = 0;
  }

 private:
  UniqueHandle event_;
  OVERLAPPED record_{};
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
    // Drivers differ in what they let through; the rule is the same on every back end.
    if (!IsValidFraming(dcb.ByteSize, dcb.Parity, dcb.StopBits)) return false;
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
    DWORD moved = 0;
    const BOOL done =
        ::ReadFile(Native(handle), buffer, count, &moved, Native(overlapped).Prepare());
    return Outcome(done, handle, overlapped, transferred, moved);
  }

  std::uint32_t WriteFile(CommHandle handle, const char* buffer, std::uint32_t count,
                          std::uint32_t& transferred, Overlapped& overlapped) override {
    DWORD moved = 0;
    const BOOL done =
        ::WriteFile(Native(handle), buffer, count, &moved, Native(overlapped).Prepare());
    return Outcome(done, handle, overlapped, transferred, moved);
  }

  std::uint32_t WaitCommEvent(CommHandle handle, std::uint32_t& events,
                              Overlapped& overlapped) override {
    static_assert(sizeof(DWORD) == sizeof(std::uint32_t));
    std::uint32_t ignored = 0;
    const BOOL done = ::WaitCommEvent(Native(handle), reinterpret_cast<DWORD*>(&events),
                                      Native(overlapped).Prepare());
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
