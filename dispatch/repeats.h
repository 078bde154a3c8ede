// A page that stands for others of the same words says so.
#pragma once

#include <cstdint>
#include <string>

#include "protocols/service_record.h"

namespace mvsms::dispatch {

/// The text with " (+17 more)" behind it, in as many pieces as without: its end is cut where there
/// is no room. The text as it is at 0, and where the service carries no such words, or their room
/// would be half of the text's. In the ANSI code page.
std::string TellRepeats(const std::string& text, std::int32_t more, const ServiceRecord& service);

}  // namespace mvsms::dispatch
