// The Win32 error codes (winerror.h) that cross the seam, by their names there. The registry and
// the serial port answer with them on every system.
#pragma once

#include <cstdint>

namespace mvsms {

inline constexpr std::int32_t kErrorSuccess = 0;
inline constexpr std::int32_t kErrorFileNotFound = 2;
inline constexpr std::int32_t kErrorAccessDenied = 5;
inline constexpr std::int32_t kErrorInvalidHandle = 6;
inline constexpr std::int32_t kErrorWriteFault = 29;
inline constexpr std::int32_t kErrorGenFailure = 31;
inline constexpr std::int32_t kErrorInvalidParameter = 87;
inline constexpr std::int32_t kErrorBadPathname = 161;
inline constexpr std::int32_t kErrorBusy = 170;
inline constexpr std::int32_t kErrorMoreData = 234;
inline constexpr std::int32_t kErrorNoMoreItems = 259;
inline constexpr std::int32_t kErrorInvalidWindowHandle = 1400;

}  // namespace mvsms
