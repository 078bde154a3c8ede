// Lines on Windows: a serial port whose other end is a second port of this machine (the tests'
// runner connects the two), and calls by the substitute telephony service over the same pair.
#include <chrono>
#include <cstdlib>
#include <stdexcept>

#include "backends/win32/handles.h"
#include "backends/win32/win32_platform.h"
#include "tests/backends/contract_line.h"

namespace mvsms {
namespace {

using std::chrono::milliseconds;

constexpr char kPort[] = "\\\\.\\COM31";
constexpr char kOtherEnd[] = "\\\\.\\COM32";

class LinesOnWindows : public LineBackEnd {
 public:
  LinesOnWindows() {
    _putenv("FAKE_TAPI_LINE=Line");  // the one line of the substitute telephony service
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    far_.reset(::CreateFileA(kOtherEnd, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                             FILE_FLAG_OVERLAPPED, nullptr));
    if (far_.get() == INVALID_HANDLE_VALUE) throw std::runtime_error("no serial ports to test on");
    Forget(kPort);
    ::PurgeComm(far_.get(), PURGE_RXCLEAR);
    COMMTIMEOUTS at_once{MAXDWORD, MAXDWORD, 20, 0, 0};
    ::SetCommTimeouts(far_.get(), &at_once);
  }
  ~LinesOnWindows() override {
    platform_.reset();
    ::CoUninitialize();
  }
  Platform& platform() override { return *platform_; }
  /// Wine's serial ports over pseudo-terminals lack some of what a driver has.
  bool Can(Ability) override {
    return !::GetProcAddress(::GetModuleHandleA("ntdll.dll"), "wine_get_version");
  }
  std::string device() override { return kPort; }
  // With events on a thread of the service's own: the harder way.
  std::string number() override { return "7231"; }
  std::string silent_number() override { return "714"; }
  void Say(const std::string& bytes) override {
    Transfer([&](DWORD* count, OVERLAPPED* operation) {
      return ::WriteFile(far_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), count,
                         operation);
    });
    ::Sleep(30);
  }
  std::string Heard(std::size_t count) override {
    while (heard_.size() < count) {
      char byte = 0;
      const DWORD got = Transfer([&](DWORD* number, OVERLAPPED* operation) {
        return ::ReadFile(far_.get(), &byte, 1, number, operation);
      });
      if (got == 0) break;
      heard_ += byte;
    }
    return heard_;
  }
  void HangUp() override {
    const auto hang_up = reinterpret_cast<void (*)()>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleA("fake_tapi.dll"), "FakeTapiHangUp")));
    if (!hang_up) throw std::runtime_error("the substitute telephony service is not in use");
    hang_up();
  }

 private:
  /// Drops what an earlier test left unread.
  static void Forget(const char* port) {
    const win32::UniqueHandle opened(
        ::CreateFileA(port, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ::PurgeComm(opened.get(), PURGE_RXCLEAR);
  }

  template <typename Operation>
  DWORD Transfer(Operation operation) {
    OVERLAPPED overlapped{};
    const win32::UniqueHandle done(::CreateEventA(nullptr, TRUE, FALSE, nullptr));
    overlapped.hEvent = done.get();
    DWORD count = 0;
    if (!operation(&count, &overlapped) && ::GetLastError() != ERROR_IO_PENDING) return 0;
    if (::WaitForSingleObject(done.get(), 2000) != WAIT_OBJECT_0) ::CancelIo(far_.get());
    return ::GetOverlappedResult(far_.get(), &overlapped, &count, TRUE) ? count : 0;
  }

  win32::UniqueHandle far_;
  std::string heard_;
  std::unique_ptr<Platform> platform_ = win32::MakeWin32Platform();
};

}  // namespace

NamedLineBackEnd SystemLines() {
  return {"Windows",
          [] { return std::unique_ptr<LineBackEnd>(std::make_unique<LinesOnWindows>()); }};
}

}  // namespace mvsms
