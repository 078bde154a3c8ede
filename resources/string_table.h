// The texts of the forms, German where the user interface is German and English otherwise. Each
// has an id of 16 bits; which form uses which stands in resources/strings.def.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/locale.h"

namespace mvsms {

inline constexpr std::int32_t kErrNoSuchString = 326;

/// Ids that code, rather than a form's design, asks for.
namespace string_id {
inline constexpr std::uint16_t kLanguageCode = 1;  // "DE" or "EN"
inline constexpr std::uint16_t kAll = 15;
inline constexpr std::uint16_t kNumeric = 210;
inline constexpr std::uint16_t kAlphanumeric = 211;
inline constexpr std::uint16_t kDefault = 220;
inline constexpr std::uint16_t kEntryExists = 5101;
inline constexpr std::uint16_t kDeleteEntry = 5102;
inline constexpr std::uint16_t kEnterPrefix = 5103;
inline constexpr std::uint16_t kNewRoute = 5104;
inline constexpr std::uint16_t kSelectMessageType = 6101;
inline constexpr std::uint16_t kSelectProtocol = 6102;
inline constexpr std::uint16_t kSelectUcpOperation = 6103;
inline constexpr std::uint16_t kErrorOccurred = 6121;
}  // namespace string_id

/// The text of an id in the language of the user interface. Throws RaisedError 326 for an id that
/// the table lacks.
std::string LoadResString(Locale& locale, std::uint16_t id);

/// The same for an id written as text. Also throws when the text is not a 16-bit number.
std::string LoadResString(Locale& locale, const std::string& id);

/// True when the whole text is a number, as a design's Tag is that names a string.
bool IsNumeric(std::string_view text);

}  // namespace mvsms
