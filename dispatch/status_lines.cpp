// The lines of a status text, see status_lines.h.
#include "dispatch/status_lines.h"

#include <string_view>

#include "dispatch/outcome.h"

namespace mvsms::dispatch {

std::optional<std::string> StatusLines::Next(const SendReport& report, const std::string& status) {
  constexpr std::string_view kLineEnd = "\r\n";  // before each line
  if (status.size() <= seen_) return {};
  const std::string line = status.substr(seen_ + kLineEnd.size());
  seen_ = status.size();
  return WithoutPassword(report, line);
}

}  // namespace mvsms::dispatch
