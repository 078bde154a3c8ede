// Exit codes of sends by the numbers that scripts know them by.
#pragma once

namespace mvsms {

inline constexpr int kExitMessage = 65;
inline constexpr int kExitRetry = 75;
inline constexpr int kExitUnknown = 76;
inline constexpr int kExitSettings = 78;

}  // namespace mvsms
