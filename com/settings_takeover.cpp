// See settings_takeover.h.
#include "com/settings_takeover.h"

#include <exception>

#include "backends/win32/redirected_profiles.h"
#include "backends/win32/win32_platform.h"
#include "engine/send_log.h"

namespace mvsms::com {

void TakeOverSettings() noexcept try {
  for (const std::string& sentence : win32::TakeOverRedirectedProfiles()) {
    basCommon::WriteLog(*win32::MakeWin32Platform(), sentence, "");
  }
} catch (const std::exception&) {
  // The profiles stay where they are, and the next attempt finds them.
}

}  // namespace mvsms::com
