// Opening documents and addresses with the program that the user's desktop has for them.
#pragma once

#include <cstdint>
#include <string>

namespace mvsms {

/// The least result of Shell::Execute that is a success.
inline constexpr std::int32_t kShellSuccess = 33;
inline constexpr std::int32_t kShowNormal = 1;  // winuser.h SW_SHOWNORMAL

class Shell {
 public:
  virtual ~Shell() = default;
  /// Applies `verb` to `file`, a path or an address, as ShellExecute does, with the desktop as the
  /// owner of whatever appears. Results from kShellSuccess up are successes; lower ones are the
  /// SE_ERR_* codes (shellapi.h), such as 2 for a file that does not exist.
  virtual std::int32_t Execute(const std::string& verb, const std::string& file,
                               const std::string& parameters, const std::string& folder,
                               std::int32_t show) = 0;
};

}  // namespace mvsms
