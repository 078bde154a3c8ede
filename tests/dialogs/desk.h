// A host program that opens the configuration dialog, with a profile of its own.
#pragma once

#include "tests/dialogs/screen.h"
#include "tests/support/com_host.h"

namespace mvsms {

inline constexpr char kDeskProfile[] = "DialogTest";

class Desk {
 public:
  Desk();
  ~Desk();
  Desk(const Desk&) = delete;
  Desk& operator=(const Desk&) = delete;

  /// Two services, three routes and a default modem.
  void WriteProfile();
  /// A service of the profile that dials a centre of the tests.
  void WriteService(const std::string& name, const std::string& protocol,
                    const std::string& number);
  void Write(const std::string& key, const std::string& value, const std::string& text);
  /// A value of the profile, "(none)" without one; numbers as their digits.
  std::string Read(const std::string& key, const std::string& value);

  /// Opens the dialog and returns when it has been closed.
  void ShowConfig(HWND owner = nullptr);
  _Config& config() { return *config_.Get(); }

 private:
  win32::ComPtr<_Config> config_;
};

}  // namespace mvsms
