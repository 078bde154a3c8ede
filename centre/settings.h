// The settings of a message centre: a plain struct to fill in code, and the same settings by name
// for the command line. centre/settings.def lists them.
#pragma once

#include <climits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "centre/alphabet.h"
#include "centre/line.h"

namespace mvsms::centre {

/// Count without end, "all" on the command line.
inline constexpr int kAll = INT_MAX;

enum class CallOutcome { kConnect, kBusy, kNoAnswer, kNoCarrier, kNoDialtone, kError };
enum class TapAnswer { kAck, kNak, kRs, kEnd };
/// What becomes of a message whose sender asked to be told.
enum class Delivery { kDelivered, kBuffered, kFailed, kNone };
enum class SilentAt { kNever, kPrompt, kLogin, kGoAhead, kMessage, kLogout };

struct Settings {
#define GROUP(title)
#define SETTING(type, name, value, help) type name = value;
#include "centre/settings.def"
#undef SETTING
#undef GROUP
};

/// An unknown name or a value that does not fit; the text says which and what would.
class SettingError : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// Carries out "name=value". Throws SettingError.
void Set(Settings& settings, std::string_view assignment);

struct SettingInfo {
  std::string group;
  std::string name;
  std::string value;   // as Set takes it
  std::string values;  // what is possible: "on|off", "milliseconds" …
  std::string help;
};

/// Every setting with its value in `settings`, in the order of the list.
std::vector<SettingInfo> ListSettings(const Settings& settings = {});

}  // namespace mvsms::centre
