// A COM port with a cable to a second one, which is the far side. Both are named by the
// environment: MVSMS_PORT and the one after it. Telephone lines are tested with the component as a
// whole.
#include "platform/win32/handles.h"
//
#include <cstdlib>
#include <stdexcept>

#include "platform/win32/win32_platform.h"
#include "tests/platform/contract_line.h"

namespace mvsms {
namespace {

std::string PortName(int offset) {
  const char* first = std::getenv("MVSMS_PORT");
  if (!first) throw std::runtime_error("MVSMS_PORT must name the first of two joined COM ports");
  return "\\\\.\\COM" + std::to_string(std::atoi(first) + offset);
}

class PortOnWindows : public LineBackEnd {
 public:
  PortOnWindows() {
    const HANDLE far_side = ::CreateFileA(PortName(1).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                          nullptr, OPEN_EXISTING, 0, nullptr);
    if (far_side == INVALID_HANDLE_VALUE) throw std::runtime_error("no far side: " + PortName(1));
    far_.reset(far_side);
    COMMTIMEOUTS timeouts{20, 0, 1000, 0, 0};
    ::SetCommTimeouts(far_side, &timeouts);
    Purge();
  }
  Platform& platform() override { return *platform_; }
  std::string device() override { return PortName(0); }
  std::string number() override { return {}; }
  std::string silent_number() override { return {}; }
  void Say(const std::string& bytes) override {
    DWORD written = 0;
    ::WriteFile(far_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    ::Sleep(20);
  }
  std::string Heard(std::size_t count) override {
    char buffer[256];
    DWORD read = 0;
    while (heard_.size() < count && ::ReadFile(far_.get(), buffer, sizeof buffer, &read, nullptr) &&
           read > 0) {
      heard_.append(buffer, read);
    }
    return heard_;
  }
  void HangUp() override {}
  // What stands behind the port here is a pseudo-terminal, which is less than a serial line.
  bool IsRealPort() override { return false; }

 private:
  /// Takes what an earlier test left on the cable.
  static void Purge() {
    const win32::UniqueHandle near_side(
        ::CreateFileA(PortName(0).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    COMMTIMEOUTS timeouts{1, 0, 1, 0, 0};
    ::SetCommTimeouts(near_side.get(), &timeouts);
    char buffer[256];
    DWORD read = 0;
    while (::ReadFile(near_side.get(), buffer, sizeof buffer, &read, nullptr) && read > 0) {
    }
  }

  win32::UniqueHandle far_;
  std::string heard_;
  std::unique_ptr<Platform> platform_ = win32::MakeWin32Platform();
};

}  // namespace

NamedLineBackEnd SystemLineBackEnd() { return {"Windows", MakeLineBackEnd<PortOnWindows>}; }

}  // namespace mvsms
