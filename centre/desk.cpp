// Which recipients a centre serves.
#include "centre/desk.h"

#include <algorithm>

namespace mvsms::centre {

bool Desk::Serves(std::string_view recipient) const {
  std::string_view list = settings.recipients;
  if (list.empty()) return true;
  while (!list.empty()) {
    const std::string_view beginning = list.substr(0, list.find(','));
    if (!beginning.empty() && recipient.starts_with(beginning)) return true;
    list.remove_prefix(std::min(list.size(), beginning.size() + 1));
  }
  return false;
}

}  // namespace mvsms::centre
