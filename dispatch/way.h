// The way of a message from its recipient to a message centre, found out without a call: the
// service, what goes over the line, and whatever a send is known to fail at.
#pragma once

#include <string>
#include <vector>

#include "dispatch/outcome.h"
#include "platform/platform.h"
#include "protocols/service_record.h"

namespace mvsms::dispatch {

/// All texts are in the ANSI code page.
struct Way {
  std::string number;           // as it goes into the frame; empty when it cannot be sent to
  ServiceRecord service;        // without a name when none was found
  std::string fallback;         // the service of every other try, where the route has one
  std::string why;              // what chose the service
  std::string obstacle;         // why nothing can be sent this way; empty when it can
  std::string fitting;          // what Fit would do about the obstacle: "cuts it"; empty: nothing
  Exit exit = Exit::kAccepted;  // that the obstacle means
};

/// The way to `recipient` through `service`, or the one of the profile's routes where that is
/// empty. No device is opened.
Way FindWay(Platform& platform, const std::string& profile, const std::string& recipient,
            const std::string& service);

/// What a text becomes.
struct Cargo {
  std::vector<std::string> pieces;
  std::vector<std::string> frames;  // one for each piece; empty where it cannot be built
};

/// The text as it goes out this way. What it fails at becomes the way's obstacle, unless it has one
/// already.
Cargo Load(Way& way, const std::string& originator, const std::string& text);

}  // namespace mvsms::dispatch
