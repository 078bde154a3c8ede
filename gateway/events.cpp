// See events.h. A document of one line in ASCII needs no more form than this.
#include "gateway/events.h"

#include "gateway/json.h"

namespace mvsms::gateway {

std::string PageEvent(const Json& page, std::int64_t changed) {
  return "id: " + std::to_string(changed) + "\nevent: page\ndata: " + JsonText(page) + "\n\n";
}

std::string LinesEvent(const Json& lines) {
  return "event: lines\ndata: " + JsonText(lines) + "\n\n";
}

std::string ReloadEvent() { return "event: reload\ndata: {}\n\n"; }

}  // namespace mvsms::gateway
