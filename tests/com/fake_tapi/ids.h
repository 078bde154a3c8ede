// Identifiers of the telephony service that only its server needs.
#pragma once

#include "backends/win32/tapi_ids.h"

namespace mvsms::fake_tapi {

using namespace mvsms::win32::tapi;

inline constexpr GUID kIID_IEnumAddress = {
    0x1666FCA1, 0x9363, 0x11D0, {0x83, 0x5C, 0x00, 0xAA, 0x00, 0x3C, 0xCA, 0xBD}};
inline constexpr GUID kIID_ITCallInfoChangeEvent = {
    0x5D4B65F9, 0xE51C, 0x11D1, {0xA0, 0x2F, 0x00, 0xC0, 0x4F, 0xB6, 0x80, 0x9F}};

}  // namespace mvsms::fake_tapi
